// A second suite process for the segment tests: maps the segment and runs the commands on its
// command line, reporting on standard output. Exit status: 0 done, 2 not mapped, 3 a command failed.
//   segment_helper create|attach PATH|- SIZE [command ...]    or    segment_helper key
//   commands: read ADDR TEXT | write TEXT | malloc N | sbrk N | check | detach | wait | calls
#include <lumarix/shm.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <string>

int main(int argc, char **argv)
{
    if (argc == 2 && std::strcmp(argv[1], "key") == 0)
        return std::printf("key %d\n", static_cast<int>(SG_key(nullptr, 'N'))) < 0;
    if (argc < 4)
        return 64;
    std::signal(SIGXFSZ, SIG_IGN); // a file-size limit then fails calls instead of killing us
    const char *path = std::strcmp(argv[2], "-") == 0 ? nullptr : argv[2];
    uint64_t size = std::strtoull(argv[3], nullptr, 0);
    void *start = std::strcmp(argv[1], "create") == 0 ? SG_create(path, size) : SG_attach(path, size);
    std::printf(start ? "start %p\n" : "null\n", start);
    if (start == nullptr)
        return 2;
    for (int i = 4; i < argc; ++i) {
        std::string cmd = argv[i];
        const char *arg = i + 1 < argc ? argv[i + 1] : "0";
        if (cmd == "read") {
            if (std::strcmp(reinterpret_cast<const char *>(std::strtoull(arg, nullptr, 16)), argv[i + 2]) != 0)
                return 3;
            std::printf("read ok\n");
            i += 2;
        } else if (cmd == "write" || cmd == "malloc") {
            size_t n = cmd == "write" ? std::strlen(arg) + 1 : std::strtoull(arg, nullptr, 0);
            void *block = SG_malloc(nullptr, n);
            if (cmd == "write" && block != nullptr)
                std::memcpy(block, arg, n);
            std::printf("block %p\n", block);
            ++i;
        } else if (cmd == "sbrk") {
            std::printf("sbrk %p\n", SHMsbrk(std::strtoll(arg, nullptr, 0)));
            ++i;
        } else if (cmd == "check") {
            char reason[256];
            if (!SG_heap_check(reason, sizeof reason))
                return 3;
            std::printf("check ok\n");
        } else if (cmd == "detach") {
            SG_detach(start);
        } else if (cmd == "wait") {
            std::printf("waiting\n");
            std::fflush(stdout);
            std::string line;
            std::getline(std::cin, line);
        } else if (cmd == "calls") { // every allocation call once, for their traces
            void *a = SG_malloc(nullptr, 10), *b = SG_calloc(nullptr, 2, 8), *c = SG_reCalloc(nullptr, nullptr, 1, 4);
            void *a2 = SG_realloc(nullptr, a, 20), *b2 = SG_reCalloc(nullptr, b, 3, 8);
            SG_free(nullptr, c);
            std::printf("calls %p %p %p %p %p\n", a, b, c, a2, b2);
        } else {
            return 64;
        }
        std::fflush(stdout);
    }
    return 0;
}
