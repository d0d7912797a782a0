// A second suite process for the segment tests: maps the segment and runs the commands given on
// its command line, reporting on standard output. Exit status: 0 all went well, 2 the segment
// could not be mapped, 3 a command failed.
//   segment_helper create|attach PATH|- SIZE [command ...]    or    segment_helper key
//   commands: read ADDR TEXT | write TEXT | free ADDR | check | stats | sbrk N | malloc N
//             | detach | destroy | wait (reads one line from standard input)
#include <lumarix/shm.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <string>

namespace {

void *parse_address(const char *text) { return reinterpret_cast<void *>(std::strtoull(text, nullptr, 16)); }

} // namespace

int main(int argc, char **argv)
{
    if (argc == 2 && std::strcmp(argv[1], "key") == 0) {
        std::printf("key %d\n", static_cast<int>(SG_key(nullptr, 'N')));
        return 0;
    }
    if (argc < 4) {
        std::fprintf(stderr, "usage: segment_helper create|attach PATH|- SIZE [command ...]\n");
        return 64;
    }
    std::signal(SIGXFSZ, SIG_IGN); // a file-size limit then fails calls instead of killing us
    std::string verb = argv[1];
    const char *path = std::strcmp(argv[2], "-") == 0 ? nullptr : argv[2];
    uint64_t size = std::strtoull(argv[3], nullptr, 0);
    void *start = verb == "create" ? SG_create(path, size) : SG_attach(path, size);
    std::fflush(stdout);
    if (start == nullptr) {
        std::printf("null\n");
        return 2;
    }
    std::printf("start %p\n", start);
    for (int i = 4; i < argc; ++i) {
        std::string cmd = argv[i];
        if (cmd == "read" && i + 2 < argc) {
            auto *text = static_cast<const char *>(parse_address(argv[i + 1]));
            if (std::strcmp(text, argv[i + 2]) != 0) {
                std::printf("read mismatch: \"%s\"\n", text);
                return 3;
            }
            std::printf("read ok\n");
            i += 2;
        } else if (cmd == "write" && i + 1 < argc) {
            size_t n = std::strlen(argv[i + 1]) + 1;
            void *block = SG_malloc(nullptr, n);
            if (block == nullptr)
                return 3;
            std::memcpy(block, argv[i + 1], n);
            std::printf("block %p\n", block);
            i += 1;
        } else if (cmd == "malloc" && i + 1 < argc) {
            std::printf("block %p\n", SG_malloc(nullptr, std::strtoull(argv[i + 1], nullptr, 0)));
            i += 1;
        } else if (cmd == "free" && i + 1 < argc) {
            SG_free(nullptr, parse_address(argv[i + 1]));
            i += 1;
        } else if (cmd == "sbrk" && i + 1 < argc) {
            std::printf("sbrk %p\n", SHMsbrk(std::strtoll(argv[i + 1], nullptr, 0)));
            i += 1;
        } else if (cmd == "check") {
            char reason[256];
            if (!SG_heap_check(reason, sizeof reason)) {
                std::printf("check failed: %s\n", reason);
                return 3;
            }
            std::printf("check ok\n");
        } else if (cmd == "stats") {
            SG_malloc_stats();
        } else if (cmd == "detach") {
            SG_detach(start);
        } else if (cmd == "destroy") {
            SG_destroy(start);
        } else if (cmd == "wait") {
            std::printf("waiting\n");
            std::fflush(stdout);
            std::string line;
            std::getline(std::cin, line);
        } else {
            std::fprintf(stderr, "segment_helper: unknown command %s\n", argv[i]);
            return 64;
        }
        std::fflush(stdout);
    }
    return 0;
}
