// A small suite process for the arena tests. It runs the commands given as arguments in order
// and prints one line per result on standard output, e.g.
//   arena_helper create:16777216 put:alpha:one wait exit
// Commands: create:SIZE[:PATH] attach detach destroy exit
//   put:NAME:VALUE set:NAME:VALUE put-null:VALUE put-count:COUNT:SIZE:NAME get:NAME free:NAME free-addr:HEX free-unlisted
//   wait hold-sem check census dump stress:SEED:OPS
#include "lumarix/shm.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <map>
#include <random>
#include <semaphore.h>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

std::vector<std::string> split(const std::string &text, char separator, size_t parts)
{
    std::vector<std::string> out;
    size_t from = 0;
    while (out.size() + 1 < parts) {
        const size_t at = text.find(separator, from);
        if (at == std::string::npos)
            break;
        out.push_back(text.substr(from, at - from));
        from = at + 1;
    }
    out.push_back(text.substr(from));
    return out;
}

void say(const std::string &line)
{
    std::printf("%s\n", line.c_str());
    std::fflush(stdout);
}

std::string pointer(const void *p)
{
    char text[32];
    std::snprintf(text, sizeof text, "%p", p);
    return p != nullptr ? text : "null";
}

void useArena()
{
    IW_arena_ptr = &IW_arena;
    IW_iwl_ptr = SMGetInfo(&IW_arena);
}

NamedSHMBlock *firstRecord() { return static_cast<IWSharedGlobals *>(IW_iwl_ptr)->namedFirst; }

int32_t storedCount() { return static_cast<IWSharedGlobals *>(IW_iwl_ptr)->namedCount; }

// The list must be walkable both ways and agree with its stored count.
std::string listProblem()
{
    int walked = 0;
    const NamedSHMBlock *previous = nullptr;
    for (const NamedSHMBlock *r = firstRecord(); r != nullptr; previous = r, r = r->next) {
        if (r->prev != previous)
            return "record " + std::to_string(walked) + " has a wrong prev";
        if (r->addr == nullptr)
            return "record " + std::to_string(walked) + " has no block";
        if (++walked > 1000000)
            return "the list does not end";
    }
    if (walked != storedCount())
        return "stored count " + std::to_string(storedCount()) + " but " + std::to_string(walked) + " records";
    return {};
}

// Stress block contents: "NAME|PID|SEQ|" then filler derived from SEQ.
std::string stressValue(const std::string &name, int seq, size_t filler)
{
    std::string value = name + "|" + std::to_string(getpid()) + "|" + std::to_string(seq) + "|";
    value.append(filler, static_cast<char>('a' + seq % 26));
    return value;
}

bool stressValueIntact(const NamedSHMBlock &r, long *pid, long *seq)
{
    const std::string value(static_cast<const char *>(r.addr));
    if (r.name == nullptr || static_cast<size_t>(r.size) != value.size() + 1)
        return false;
    const auto fields = split(value, '|', 4);
    if (fields.size() != 4 || fields[0] != r.name)
        return false;
    *pid = std::strtol(fields[1].c_str(), nullptr, 10);
    *seq = std::strtol(fields[2].c_str(), nullptr, 10);
    return fields[3] == std::string(fields[3].size(), static_cast<char>('a' + *seq % 26));
}

struct Owned {
    void *block;
    std::string value;
    int seq;
};

// Allocates, looks up and frees named blocks on twelve names shared with the other stress
// processes. Each process frees only its own blocks, checking them first.
int stress(unsigned seed, int operations)
{
    std::mt19937 random(seed);
    std::vector<Owned> owned;
    int hits = 0;
    for (int seq = 0; seq < operations; ++seq) {
        const std::string name = "n" + std::to_string(random() % 12);
        const unsigned pick = random() % 100;
        if (pick < 40 && owned.size() < 60) {
            const std::string value = stressValue(name, seq, random() % 180);
            void *block = IWAlcNamedSHM(1, value.size() + 1, name.c_str());
            if (block == nullptr) {
                say("stress failed: no block for " + name);
                return 1;
            }
            std::memcpy(block, value.c_str(), value.size() + 1);
            owned.push_back({block, value, seq});
        } else if (pick < 75 || owned.empty()) {
            hits += IWRtNamedSHMAdd(name.c_str()) != nullptr;
        } else {
            const size_t index = random() % owned.size();
            const Owned victim = owned[index];
            if (victim.value != static_cast<const char *>(victim.block)) {
                say("stress failed: block " + pointer(victim.block) + " was overwritten");
                return 1;
            }
            owned.erase(owned.begin() + static_cast<long>(index));
            IWFreeNamedSHM(victim.block);
        }
    }
    long sum = 0;
    for (const Owned &o : owned)
        sum += o.seq;
    say("stress done " + std::to_string(getpid()) + " " + std::to_string(owned.size()) + " " + std::to_string(sum) +
        " hits " + std::to_string(hits));
    return 0;
}

int run(const std::string &command)
{
    const auto word = split(command, ':', 2);
    const std::string &verb = word[0];
    const std::string argument = word.size() > 1 ? word[1] : "";

    if (verb == "create") {
        const auto a = split(argument, ':', 2);
        const char *path = a.size() > 1 ? a[1].c_str() : nullptr;
        const int result = SMCreateArena(&IW_arena, std::strtoull(a[0].c_str(), nullptr, 10), path);
        say("create " + std::to_string(result) + " " + pointer(reinterpret_cast<void *>(IW_arena.word[0])));
        if (result == 0 && IW_arena.word[0] != 0) {
            IW_arena_ptr = &IW_arena;
            void *record = SMCalloc(&IW_arena, 1, sizeof(IWSharedGlobals));
            SMPutInfo(&IW_arena, record);
            IW_iwl_ptr = record;
            say("info " + pointer(record));
        }
    } else if (verb == "attach") {
        const int result = SMAttachToArena(&IW_arena);
        say("attach " + std::to_string(result));
        if (result == 0) {
            useArena();
            say("info " + pointer(IW_iwl_ptr));
        }
    } else if (verb == "detach") {
        say("detach " + std::to_string(SMDetachFromArena(&IW_arena)));
    } else if (verb == "destroy") {
        say("destroy " + std::to_string(SMDestroyArena(&IW_arena)));
    } else if (verb == "exit") {
        SMExit(&IW_arena, 1);
        say("exit " + std::to_string(SMGetError()));
    } else if (verb == "put" || verb == "put-null") {
        const auto a = split(argument, ':', 2);
        const std::string value = verb == "put" ? (a.size() > 1 ? a[1] : "") : argument;
        const char *name = verb == "put" ? a[0].c_str() : nullptr;
        void *block = IWAlcNamedSHM(1, value.size() + 1, name);
        if (block != nullptr)
            std::memcpy(block, value.c_str(), value.size() + 1);
        say(verb + " " + (name != nullptr ? name : "(NONE)") + " " + pointer(block));
    } else if (verb == "set") {
        const auto a = split(argument, ':', 2);
        say("set " + a[0] + " " + pointer(IWSetNamedSHM(a[0].c_str(), a[1].c_str(), a[1].size() + 1)));
    } else if (verb == "put-count") {
        const auto a = split(argument, ':', 3);
        void *block = IWAlcNamedSHM(std::atoi(a[0].c_str()), std::strtoull(a[1].c_str(), nullptr, 10), a[2].c_str());
        say("put-count " + a[2] + " " + pointer(block));
    } else if (verb == "get") {
        const auto *block = static_cast<const char *>(IWRtNamedSHMAdd(argument.c_str()));
        say("get " + argument + " " + (block != nullptr ? pointer(block) + " " + block : "null"));
    } else if (verb == "free") {
        void *block = IWRtNamedSHMAdd(argument.c_str());
        if (block != nullptr)
            IWFreeNamedSHM(block);
        say("free " + argument + (block != nullptr ? " ok" : " missing"));
    } else if (verb == "free-addr") {
        IWOpenConfigSem();
        IWFreeNamedSHM(reinterpret_cast<void *>(std::strtoull(argument.c_str(), nullptr, 16)));
        say("free-addr done");
    } else if (verb == "free-unlisted") {
        IWFreeNamedSHM(IWAlcSHM(1, 16));
        say("free-unlisted done");
    } else if (verb == "wait") {
        std::string line;
        std::getline(std::cin, line);
    } else if (verb == "hold-sem") {
        // Takes the Config Protection Semaphore the way a list operation does and never gives
        // it back; the test kills this process.
        IWOpenConfigSem();
        const char *login = std::getenv("LOGNAME");
        sem_t *sem = sem_open((std::string("/IWConfigSem_") + (login != nullptr ? login : "")).c_str(), 0);
        if (sem == SEM_FAILED || sem_wait(sem) != 0) {
            say("hold-sem failed");
            return 1;
        }
        say("holding");
        for (;;)
            pause();
    } else if (verb == "check") {
        std::string problem = listProblem();
        char reason[256] = {};
        if (problem.empty() && SG_heap_check(reason, sizeof reason) != 1)
            problem = std::string("heap: ") + reason;
        say(problem.empty() ? "check ok " + std::to_string(storedCount()) : "check bad: " + problem);
    } else if (verb == "census") {
        // Per writer: number of surviving blocks and the sum of their sequence numbers.
        std::map<long, std::pair<long, long>> writers;
        for (const NamedSHMBlock *r = firstRecord(); r != nullptr; r = r->next) {
            long pid = 0, seq = 0;
            if (!stressValueIntact(*r, &pid, &seq)) {
                say("census bad block " + pointer(r->addr));
                continue;
            }
            writers[pid].first += 1;
            writers[pid].second += seq;
        }
        for (const auto &[pid, tally] : writers)
            say("census " + std::to_string(pid) + " " + std::to_string(tally.first) + " " +
                std::to_string(tally.second));
        say("census end");
    } else if (verb == "dump") {
        IWDumpNamedSHM();
    } else if (verb == "stress") {
        const auto a = split(argument, ':', 2);
        return stress(static_cast<unsigned>(std::atoi(a[0].c_str())), std::atoi(a[1].c_str()));
    } else {
        say("unknown command " + command);
        return 2;
    }
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    for (int i = 1; i < argc; ++i)
        if (const int status = run(argv[i]); status != 0)
            return status;
    return 0;
}
