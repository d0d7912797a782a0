// A small suite process for the arena tests. It runs the commands given as arguments in order
// and prints one line per result on standard output, e.g.
//   arena_helper create:16777216 put:alpha:one wait exit
// Commands: create:SIZE[:PATH] attach detach destroy exit wait hold-sem check dump stress:SEED:OPS
//   put:NAME:VALUE (NAME - : no name) set:NAME:VALUE put-count:COUNT:SIZE:NAME get:NAME free:NAME
//   free-addr:HEX free-unlisted
#include "lumarix/shm.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <iostream>
#include <random>
#include <semaphore.h>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

std::vector<std::string> split(const std::string &text, size_t parts)
{
    std::vector<std::string> out;
    size_t from = 0;
    for (size_t at; out.size() + 1 < parts && (at = text.find(':', from)) != std::string::npos; from = at + 1)
        out.push_back(text.substr(from, at - from));
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

IWSharedGlobals &globals() { return *static_cast<IWSharedGlobals *>(IW_iwl_ptr); }

// The list must be walkable both ways, agree with its stored count, and every block must hold a
// terminated value that fills it exactly (as every command here writes them).
std::string listProblem()
{
    int walked = 0;
    const NamedSHMBlock *previous = nullptr;
    for (const NamedSHMBlock *r = globals().namedFirst; r != nullptr; previous = r, r = r->next, ++walked)
        if (r->prev != previous || r->addr == nullptr || walked > 100000 ||
            static_cast<size_t>(r->size) != std::strlen(static_cast<const char *>(r->addr)) + 1)
            return "record " + std::to_string(walked) + " is broken";
    if (walked != globals().namedCount)
        return "stored count " + std::to_string(globals().namedCount) + " but " + std::to_string(walked) + " records";
    char reason[256] = {};
    return SG_heap_check(reason, sizeof reason) ? "" : std::string("heap: ") + reason;
}

// Allocates, looks up and frees named blocks on twelve names shared with other stress processes;
// each frees only its own blocks, checking them first, and says how many it still holds.
int stress(unsigned seed, int operations)
{
    std::mt19937 random(seed);
    std::vector<std::pair<void *, std::string>> owned;
    for (int seq = 0; seq < operations; ++seq) {
        const std::string name = "n" + std::to_string(random() % 12);
        const unsigned pick = random() % 100;
        if (pick < 40 && owned.size() < 60) {
            const std::string value = name + std::string(random() % 180, static_cast<char>('a' + seq % 26));
            void *block = IWAlcNamedSHM(1, value.size() + 1, name.c_str());
            if (block == nullptr)
                return 1;
            owned.emplace_back(std::memcpy(block, value.c_str(), value.size() + 1), value);
        } else if (pick < 75 || owned.empty()) {
            IWRtNamedSHMAdd(name.c_str());
        } else {
            const size_t index = random() % owned.size();
            if (owned[index].second != static_cast<const char *>(owned[index].first))
                return 1;
            IWFreeNamedSHM(owned[index].first);
            owned.erase(owned.begin() + static_cast<long>(index));
        }
    }
    for (const auto &[block, value] : owned)
        if (value != static_cast<const char *>(block))
            return 1;
    say("stress done " + std::to_string(owned.size()));
    return 0;
}

int run(const std::string &command)
{
    const auto word = split(command, 2);
    const std::string &verb = word[0], argument = word.size() > 1 ? word[1] : "";
    if (verb == "create" || verb == "attach") {
        const auto a = split(argument, 2);
        const int result = verb == "create" ? SMCreateArena(&IW_arena, std::strtoull(a[0].c_str(), nullptr, 10),
                                                            a.size() > 1 ? a[1].c_str() : nullptr)
                                            : SMAttachToArena(&IW_arena);
        say(verb + " " + std::to_string(result) +
            (verb == "create" ? " " + pointer(reinterpret_cast<void *>(IW_arena.word[0])) : ""));
        if (result == 0 && IW_arena.word[0] != 0) {
            IW_arena_ptr = &IW_arena;
            if (verb == "create")
                SMPutInfo(&IW_arena, SMCalloc(&IW_arena, 1, sizeof(IWSharedGlobals)));
            IW_iwl_ptr = SMGetInfo(&IW_arena);
            say("info " + pointer(IW_iwl_ptr));
        }
    } else if (verb == "detach" || verb == "destroy") {
        say(verb + " " + std::to_string(verb == "detach" ? SMDetachFromArena(&IW_arena) : SMDestroyArena(&IW_arena)));
    } else if (verb == "exit") {
        SMExit(&IW_arena, 1);
        say("exit " + std::to_string(SMGetError()));
    } else if (verb == "put" || verb == "set") {
        const auto a = split(argument, 2);
        const char *name = a[0] == "-" ? nullptr : a[0].c_str();
        const std::string value = a.size() > 1 ? a[1] : "";
        void *block = verb == "set" ? IWSetNamedSHM(name, value.c_str(), value.size() + 1)
                                    : IWAlcNamedSHM(1, value.size() + 1, name);
        if (verb == "put" && block != nullptr)
            std::memcpy(block, value.c_str(), value.size() + 1);
        say(verb + " " + a[0] + " " + pointer(block));
    } else if (verb == "put-count") {
        const auto a = split(argument, 3);
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
    } else if (verb == "free-addr" || verb == "free-unlisted") {
        IWOpenConfigSem();
        IWFreeNamedSHM(verb == "free-addr" ? reinterpret_cast<void *>(std::strtoull(argument.c_str(), nullptr, 16))
                                           : IWAlcSHM(1, 16));
        say(verb + " done");
    } else if (verb == "wait") {
        std::string line;
        std::getline(std::cin, line);
    } else if (verb == "hold-sem") { // takes the semaphore and never gives it back
        sem_t *sem = sem_open(("/IWConfigSem_" + std::string(std::getenv("LOGNAME"))).c_str(), O_CREAT, 0600, 1);
        if (sem == SEM_FAILED || sem_wait(sem) != 0)
            return 1;
        say("holding");
        for (;;)
            pause();
    } else if (verb == "check") {
        const std::string problem = listProblem();
        say(problem.empty() ? "check ok " + std::to_string(globals().namedCount) : "check bad: " + problem);
    } else if (verb == "dump") {
        IWDumpNamedSHM();
    } else if (verb == "stress") {
        const auto a = split(argument, 2);
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
