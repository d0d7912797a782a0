// A small suite process for the shared-memory tests: it runs the commands given as arguments in
// order (e.g. create:16777216 put:alpha:one wait exit; the verbs are those of run()) and prints one
// line per result. Exit status 2: an unknown command or a segment not mapped; 3: a check failed.
#include "lumarix/shm.h"

#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <iostream>
#include <limits>
#include <semaphore.h>
#include <string>
#include <unistd.h>

namespace {

__attribute__((format(printf, 1, 2))) void say(const char *format, ...)
{
    va_list args;
    va_start(args, format);
    std::vprintf(format, args);
    va_end(args);
    std::putchar('\n');
    std::fflush(stdout);
}

// The part of text after `colons` colons, up to the next one (or to the end, for `rest`).
std::string part(const std::string &text, int colons, bool rest = false)
{
    size_t from = 0;
    for (int i = 0; i < colons; ++i)
        if ((from = text.find(':', from) + 1) == 0)
            return "";
    return rest ? text.substr(from) : text.substr(from, text.find(':', from) - from);
}

unsigned long long number(const std::string &text, int base = 0) { return std::strtoull(text.c_str(), nullptr, base); }

IWSharedGlobals &globals() { return *static_cast<IWSharedGlobals *>(IW_iwl_ptr); }

// The list must be walkable both ways, agree with its stored count, and every block must hold a
// terminated value that fills it exactly (as every command here writes them).
bool listIsWhole()
{
    int walked = 0;
    const NamedSHMBlock *previous = nullptr;
    for (const NamedSHMBlock *r = globals().namedFirst; r != nullptr; previous = r, r = r->next, ++walked)
        if (r->prev != previous || r->addr == nullptr || walked > 100000 ||
            static_cast<size_t>(r->size) != std::strlen(static_cast<const char *>(r->addr)) + 1)
            return false;
    char reason[256];
    return walked == globals().namedCount && SG_heap_check(reason, sizeof reason);
}

void *segment = nullptr;

int run(const std::string &command)
{
    const std::string verb = part(":" + command, 1), a = part(command, 1), b = part(command, 2, true);
    if (verb == "sg-create" || verb == "sg-attach") {
        const char *path = a == "-" ? nullptr : a.c_str();
        segment = verb == "sg-create" ? SG_create(path, number(b)) : SG_attach(path, number(b));
        say("start %p", segment);
        return segment != nullptr ? 0 : 2;
    } else if (verb == "read") {
        if (b != reinterpret_cast<const char *>(number(a, 16)))
            return 3;
        say("read ok");
    } else if (verb == "write" || verb == "malloc") {
        const size_t n = verb == "write" ? a.size() + 1 : number(a);
        void *block = SG_malloc(nullptr, n);
        say("block %p", verb == "write" && block != nullptr ? std::memcpy(block, a.c_str(), n) : block);
    } else if (verb == "sbrk") {
        say("sbrk %p", SHMsbrk(static_cast<int64_t>(number(a))));
    } else if (verb == "heap-check") {
        char reason[256];
        if (!SG_heap_check(reason, sizeof reason))
            return 3;
        say("check ok");
    } else if (verb == "calls") { // every allocation call once, for their traces
        void *p = SG_malloc(nullptr, 10), *q = SG_calloc(nullptr, 2, 8), *r = SG_reCalloc(nullptr, nullptr, 1, 4);
        void *p2 = SG_realloc(nullptr, p, 20), *q2 = SG_reCalloc(nullptr, q, 3, 8);
        SG_free(nullptr, r);
        say("calls %p %p %p %p %p", p, q, r, p2, q2);
    } else if (verb == "key") {
        say("key %d", static_cast<int>(SG_key(nullptr, 'N')));
    } else if (verb == "create" || verb == "attach") {
        const int result = verb == "create" ? SMCreateArena(&IW_arena, number(a), b.empty() ? nullptr : b.c_str())
                                            : SMAttachToArena(&IW_arena);
        if (verb == "create")
            say("create %d %p", result, reinterpret_cast<void *>(IW_arena.word[0]));
        else
            say("attach %d", result);
        if (result == 0 && IW_arena.word[0] != 0) {
            IW_arena_ptr = &IW_arena;
            if (verb == "create")
                SMPutInfo(&IW_arena, SMCalloc(&IW_arena, 1, sizeof(IWSharedGlobals)));
            IW_iwl_ptr = SMGetInfo(&IW_arena);
            say("info %p", IW_iwl_ptr);
        }
    } else if (verb == "detach" || verb == "destroy") {
        say("%s %d", verb.c_str(), verb == "detach" ? SMDetachFromArena(&IW_arena) : SMDestroyArena(&IW_arena));
    } else if (verb == "exit") {
        SMExit(&IW_arena, 1);
        say("exit %d", SMGetError());
    } else if (verb == "owner") {
        say("owner %d", SMArenaOwner());
    } else if (verb == "put" || verb == "set") {
        const char *name = a == "-" ? nullptr : a.c_str();
        void *block =
            verb == "set" ? IWSetNamedSHM(name, b.c_str(), b.size() + 1) : IWAlcNamedSHM(1, b.size() + 1, name);
        say("%s %s %p", verb.c_str(), a.c_str(),
            verb == "put" && block ? std::memcpy(block, b.c_str(), b.size() + 1) : block);
    } else if (verb == "put-count") {
        say("put-count %s %p", part(command, 3).c_str(),
            IWAlcNamedSHM(static_cast<int>(number(a)), number(part(command, 2)), part(command, 3).c_str()));
    } else if (verb == "get") {
        const auto *block = static_cast<const char *>(IWRtNamedSHMAdd(a.c_str()));
        say("get %s %p%s%s", a.c_str(), static_cast<const void *>(block), block ? " " : "", block ? block : "");
    } else if (verb == "free") {
        void *block = IWRtNamedSHMAdd(a.c_str());
        if (block != nullptr)
            IWFreeNamedSHM(block);
        say("free %s %s", a.c_str(), block != nullptr ? "ok" : "missing");
    } else if (verb == "free-addr" || verb == "free-unlisted") {
        IWOpenConfigSem();
        IWFreeNamedSHM(verb == "free-addr" ? reinterpret_cast<void *>(number(a, 16)) : IWAlcSHM(1, 16));
        say("%s done", verb.c_str());
    } else if (verb == "wait") {
        std::cin.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
    } else if (verb == "hold-sem") { // takes the semaphore and never gives it back
        sem_t *sem = sem_open(("/IWConfigSem_" + std::string(std::getenv("LOGNAME"))).c_str(), O_CREAT, 0600, 1);
        if (sem == SEM_FAILED || sem_wait(sem) != 0)
            return 1;
        say("holding");
        for (;;)
            pause();
    } else if (verb == "check") {
        say(listIsWhole() ? "check ok %d" : "check bad %d", globals().namedCount);
    } else if (verb == "dump") {
        IWDumpNamedSHM();
    } else {
        say("unknown command %s", command.c_str());
        return 2;
    }
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    std::signal(SIGXFSZ, SIG_IGN); // a file-size limit then fails calls instead of killing us
    for (int i = 1; i < argc; ++i)
        if (const int status = run(argv[i]); status != 0)
            return status;
    return 0;
}
