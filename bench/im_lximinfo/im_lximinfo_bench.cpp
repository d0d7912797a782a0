// lximinfo on files with many extended header fields: for each field count, one file written
// byte by byte (a 1 x 1 image, one integer per section, then "F<i>,i,<n>=<i>" fields), the best
// wall time of N rounds of the library's IMOpen + IMClose (which parses every field) and of a
// whole lximinfo run (text and --json, output to /dev/null), and the time per field.
//
//   im_lximinfo_bench [--fields 1000,10000,100000,1000000] [--rounds 3] [--dir DIR]
//                     [--lximinfo PATH]
#include <lumarix/im.h>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

namespace {

struct Options {
    std::vector<long> fields{1000, 10000, 100000, 1000000};
    int rounds = 3;
    std::string dir = "/tmp";
    std::string lximinfo = LXIMINFO;
};

template <typename T>
void put(std::vector<char> &bytes, size_t offset, T value)
{
    std::memcpy(bytes.data() + offset, &value, sizeof value);
}

// The file's size in bytes.
size_t write_file(const std::string &path, long fields)
{
    std::string area;
    for (long i = 0; i < fields; ++i) {
        const std::string value = std::to_string(i);
        area += "F" + std::to_string(i) + ",i," + std::to_string(value.size()) + "=" + value + "\n";
    }
    area += '\r';
    const size_t ext = (4 + area.size() + 1023) / 1024 * 1024;
    std::vector<char> bytes(1024 + ext + 1, 0);
    put<int32_t>(bytes, 0, 1);
    put<int32_t>(bytes, 4, 1);
    put<int32_t>(bytes, 8, 1);
    put<int32_t>(bytes, 92, static_cast<int32_t>(ext));
    put<int16_t>(bytes, 96, -16224);
    put<uint16_t>(bytes, 100, 1);
    put<int16_t>(bytes, 128, 1);
    put<uint16_t>(bytes, 180, 1);
    put<uint16_t>(bytes, 196, 1);
    std::memcpy(bytes.data() + 1024 + 4, area.data(), area.size());
    std::ofstream(path, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return bytes.size();
}

double best_seconds(int rounds, const std::function<void()> &run)
{
    double best = 1e300;
    for (int r = 0; r < rounds; ++r) {
        const auto start = std::chrono::steady_clock::now();
        run();
        best = std::min(best, std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    }
    return best;
}

// False when the program fails (an older lximinfo without --json).
bool run_program(const std::string &program, const std::vector<std::string> &args)
{
    const pid_t child = fork();
    if (child == 0) {
        const int null = open("/dev/null", O_WRONLY);
        dup2(null, 1);
        dup2(null, 2);
        std::vector<char *> argv{const_cast<char *>(program.c_str())};
        for (const auto &a : args)
            argv.push_back(const_cast<char *>(a.c_str()));
        argv.push_back(nullptr);
        execv(program.c_str(), argv.data());
        _exit(127);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

std::vector<long> parse_list(const char *text)
{
    std::vector<long> values;
    std::stringstream in(text);
    for (std::string item; std::getline(in, item, ',');)
        values.push_back(std::atol(item.c_str()));
    return values;
}

} // namespace

int main(int argc, char **argv)
{
    Options o;
    for (int i = 1; i + 1 < argc; i += 2) {
        const std::string key = argv[i];
        if (key == "--fields")
            o.fields = parse_list(argv[i + 1]);
        else if (key == "--rounds")
            o.rounds = std::max(1, std::atoi(argv[i + 1]));
        else if (key == "--dir")
            o.dir = argv[i + 1];
        else if (key == "--lximinfo")
            o.lximinfo = argv[i + 1];
        else {
            std::fprintf(stderr, "unknown option %s\n", key.c_str());
            return 2;
        }
    }
    std::printf("%10s %10s %12s %12s %12s %14s\n", "fields", "file MB", "IMOpen s", "lximinfo s", "--json s",
                "lximinfo us/f");
    for (long fields : o.fields) {
        const std::string path = o.dir + "/im_lximinfo_bench_" + std::to_string(getpid()) + ".img";
        const size_t bytes = write_file(path, fields);
        const double open_s = best_seconds(o.rounds, [&] {
            if (IMOpen(1, path.c_str(), "ro") != 0)
                std::exit(1);
            IMClose(1);
        });
        bool text_ok = true, json_ok = true;
        const double text_s = best_seconds(o.rounds, [&] { text_ok = run_program(o.lximinfo, {path}) && text_ok; });
        double json_s = best_seconds(1, [&] { json_ok = run_program(o.lximinfo, {"--json", path}); });
        if (json_ok && o.rounds > 1)
            json_s = std::min(json_s, best_seconds(o.rounds - 1, [&] { run_program(o.lximinfo, {"--json", path}); }));
        if (!text_ok)
            std::fprintf(stderr, "%s failed on %ld fields\n", o.lximinfo.c_str(), fields);
        if (!json_ok)
            json_s = std::numeric_limits<double>::quiet_NaN(); // no --json

        std::printf("%10ld %10.2f %12.4f %12.4f %12.4f %14.3f\n", fields, static_cast<double>(bytes) / 1e6, open_s,
                    text_s, json_s, 1e6 * text_s / static_cast<double>(fields));
        std::fflush(stdout);
        unlink(path.c_str());
    }
    return 0;
}
