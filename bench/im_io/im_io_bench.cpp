// Image I/O benchmark: section reads with conversion to floats, clamped section writes and plain
// section reads of 512 MiB image files in the page cache, through the image stream library
// (IMOpen, IMRdSec, IMWrSec), timed in one run against numpy doing the same work and against
// plain pread/pwrite of the same bytes. Every figure is printed with its ratio.
//
//   im_io_bench [--rounds N] [--file-mib N] [--sections 2048,512] [--cases kernels,reads,writes]
//               [--dir DIR] [--python PATH]
//
// Times are CPU times (user and system), best of N rounds that run every contender in turn.
// Two regimes are compared, since numpy's first pass in an interpreter costs far more than its
// later ones: later passes (the library on an open stream and a buffer it has used; numpy in an
// interpreter that has made a pass already), and the first pass of a fresh process (the library
// in a new process with a new buffer; numpy in a new interpreter). The plain pread/pwrite floor
// is always a later pass.
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <functional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "image_file.h"
#include "library_pass.h"
#include "pixel_convert.h"
#include "plain_loops.h"

namespace px = lx::im::pixel;
using namespace im_io;

namespace {

struct Options {
    std::vector<std::size_t> sizes = {2048, 512};
    std::size_t file_mib = 512;
    int rounds = 5;
    std::string dir = "/tmp";
    std::string python = "/usr/bin/python3"; // Debian's interpreter, with python3-numpy
    std::string script = LX_IM_IO_NUMPY_SCRIPT;
    std::string cases = "kernels,reads,writes";
    std::string self = "/proc/self/exe";
    bool wants(const char *c) const { return cases.find(c) != std::string::npos; }
};

// A path for a benchmark file, removed when the case ends.
class ScratchPath {
public:
    ScratchPath(const Options &o, const std::string &tag)
        : path_(o.dir + "/lx_im_io_" + std::to_string(::getpid()) + "_" + tag)
    {
    }
    ~ScratchPath() { ::unlink(path_.c_str()); }
    ScratchPath(const ScratchPath &) = delete;
    ScratchPath &operator=(const ScratchPath &) = delete;
    const std::string &path() const { return path_; }

private:
    std::string path_;
};

class Fd {
public:
    Fd(const std::string &path, int flags) : fd_(::open(path.c_str(), flags | O_CLOEXEC))
    {
        if (fd_ < 0)
            throw std::runtime_error("cannot open " + path + ": " + std::strerror(errno));
    }
    ~Fd() { ::close(fd_); }
    Fd(const Fd &) = delete;
    Fd &operator=(const Fd &) = delete;
    int get() const { return fd_; }

private:
    int fd_;
};

// Reproducible pixel data: section s of a file always holds the same values.
std::uint32_t mix(std::uint64_t x)
{
    x ^= x >> 33;
    x *= 0xff51afd7ed558ccdULL;
    x ^= x >> 29;
    return static_cast<std::uint32_t>(x);
}

void fill_section(const ImageLayout &l, std::size_t s, unsigned char *out)
{
    const std::uint64_t base = (static_cast<std::uint64_t>(s) + 1) << 32;
    if (l.mode == px::kModeFloat) {
        auto *f = reinterpret_cast<float *>(out);
        for (std::size_t i = 0; i < l.pixels(); ++i)
            f[i] = static_cast<float>(mix(base + i) % 2000001) - 1e6f;
    } else {
        auto *u = reinterpret_cast<std::uint16_t *>(out);
        for (std::size_t i = 0; i < l.pixels(); ++i)
            u[i] = static_cast<std::uint16_t>(mix(base + i));
    }
}

double cpu_now()
{
    timespec ts{};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
    return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) * 1e-9;
}

double seconds(const std::function<void()> &work)
{
    const double start = cpu_now();
    work();
    return cpu_now() - start;
}

// Runs a program and returns what it printed; throws unless it ends with status 0.
std::string run(std::vector<std::string> args)
{
    int out[2];
    if (::pipe(out) != 0)
        throw std::runtime_error("pipe failed");
    const pid_t pid = ::fork();
    if (pid == 0) {
        ::dup2(out[1], 1);
        ::close(out[0]);
        ::close(out[1]);
        std::vector<char *> argv;
        for (auto &a : args)
            argv.push_back(a.data());
        argv.push_back(nullptr);
        ::execv(argv[0], argv.data());
        std::perror(argv[0]);
        ::_exit(127);
    }
    ::close(out[1]);
    std::string text;
    char buf[256];
    ssize_t got;
    while ((got = ::read(out[0], buf, sizeof buf)) > 0)
        text.append(buf, static_cast<size_t>(got));
    ::close(out[0]);
    int status = 0;
    ::waitpid(pid, &status, 0);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0 || text.empty())
        throw std::runtime_error("failed: " + args[0] + " " + args[1]);
    return text;
}

struct NumpyTimes {
    double first = 0, later = 0;
};

NumpyTimes numpy_times(const Options &o, const char *op, const std::string &path, const char *dtype,
                       const ImageLayout &l, const std::vector<std::string> &extra = {})
{
    std::vector<std::string> args = {o.python,
                                     o.script,
                                     op,
                                     path,
                                     dtype,
                                     std::to_string(l.nx),
                                     std::to_string(l.ny),
                                     std::to_string(l.sections),
                                     std::to_string(ImageLayout::kDataOffset),
                                     "3"};
    args.insert(args.end(), extra.begin(), extra.end());
    std::istringstream in(run(args));
    NumpyTimes t;
    in >> t.first >> t.later;
    return t;
}

double first_pass_seconds(const Options &o, std::vector<std::string> args)
{
    args.insert(args.begin(), {o.self, "--first-pass"});
    return std::stod(run(args));
}

// The best of each contender over rounds that run them all in turn, so that a change of load on
// the machine reaches all of them alike.
struct Best {
    double floor = 1e300, library = 1e300, unbuffered = 1e300, library_first = 1e300;
    NumpyTimes numpy{1e300, 1e300};
    void take(double &slot, double value) { slot = std::min(slot, value); }
};

struct Verdicts {
    int missed = 0;
    int wrong = 0;
    const char *judge(bool met)
    {
        missed += !met;
        return met ? "met" : "MISSED";
    }
};

void print_against_numpy(const Best &b, Verdicts &v)
{
    const double later = b.numpy.later / b.library, first = b.numpy.first / b.library_first;
    std::printf("%31s numpy, later passes %6.1f ms: %5.2fx numpy's throughput (%s >= 2)\n", "", b.numpy.later * 1e3,
                later, v.judge(later >= 2));
    std::printf("%31s first pass of a fresh process: library %6.1f ms, numpy %6.1f ms: %5.2fx "
                "(%s >= 2)\n",
                "", b.library_first * 1e3, b.numpy.first * 1e3, first, v.judge(first >= 2));
}

// Square sections of `side` pixels filling a file of the benchmark's size.
ImageLayout layout_for(const Options &o, std::size_t side, int mode)
{
    ImageLayout l;
    l.mode = mode;
    l.nx = l.ny = side;
    l.sections = (o.file_mib << 20) / l.section_bytes();
    return l;
}

const char *numpy_dtype(int mode, bool foreign)
{
    switch (mode) {
    case px::kModeInt16: return foreign ? ">i2" : "<i2";
    case px::kModeUInt16: return foreign ? ">u2" : "<u2";
    default: return foreign ? ">f4" : "<f4";
    }
}

// Every section of a mode 1, 6 or 2 file, native or foreign order, read through IMRdSec (buffered
// and unbuffered), by numpy and by plain pread.
void read_case(const Options &o, std::size_t side, int mode, bool foreign, bool convert, Verdicts &v)
{
    const ImageLayout l = layout_for(o, side, mode);
    ScratchPath file(o, "read");
    write_image(file.path(), l, foreign, [&](std::size_t s, unsigned char *p) { fill_section(l, s, p); });

    std::vector<float> expected(l.pixels()); // the last section as the caller sees it
    fill_section(l, l.sections - 1, reinterpret_cast<unsigned char *>(expected.data()));
    if (convert)
        px::widen_to_float(mode, expected.data(), l.pixels());

    std::vector<float> buffer(l.pixels());
    std::vector<unsigned char> raw(l.section_bytes());
    Fd fd(file.path(), O_RDONLY);
    LibraryStream buffered(file.path(), "ro", convert);
    LibraryStream unbuffered(file.path(), "ro_unbuffered", convert);
    auto floor = [&] {
        for (std::size_t s = 0; s < l.sections; ++s)
            if (::pread(fd.get(), raw.data(), raw.size(), static_cast<off_t>(l.offset_of(s))) !=
                static_cast<ssize_t>(raw.size()))
                throw std::runtime_error("short pread");
    };
    auto library = [&](LibraryStream &stream) {
        std::fill(buffer.begin(), buffer.end(), -1.0f);
        const double t = seconds([&] {
            if (!stream.read_all(buffer.data()))
                throw std::runtime_error("IMRdSec failed");
        });
        if (std::memcmp(buffer.data(), expected.data(), l.pixels() * 4) != 0) {
            std::printf("  WRONG: IMRdSec gave other values than were written\n");
            ++v.wrong;
        }
        return t;
    };

    floor(); // the whole file in the page cache
    Best b;
    for (int r = 0; r < o.rounds; ++r) {
        b.take(b.floor, seconds(floor));
        // Two passes each: the first after another contender finds the caches holding its data.
        for (int pass = 0; pass < 2; ++pass) {
            b.take(b.library, library(buffered));
            b.take(b.unbuffered, library(unbuffered));
        }
        b.take(b.library_first, first_pass_seconds(o, {"read", file.path(), convert ? "1" : "0"}));
        const NumpyTimes n = numpy_times(o, "read", file.path(), numpy_dtype(mode, foreign), l);
        b.take(b.numpy.first, n.first);
        b.take(b.numpy.later, n.later);
    }

    const double vs_floor = b.library / b.floor;
    std::printf("  mode %d %-7s %-13s library %6.1f ms (unbuffered %6.1f ms), pread %5.1f ms: "
                "%4.2fx the pread time",
                mode, foreign ? "foreign" : "native", convert ? "to floats" : "no conversion", b.library * 1e3,
                b.unbuffered * 1e3, b.floor * 1e3, vs_floor);
    if (!convert) {
        std::printf("\n%31s numpy, later passes %6.1f ms: %5.2fx numpy's throughput\n", "", b.numpy.later * 1e3,
                    b.numpy.later / b.library);
        return;
    }
    std::printf(" (%s <= 3)\n", v.judge(vs_floor <= 3));
    print_against_numpy(b, v);
}

// Floats written to every section of a mode 6 or mode 0 file with clamping, through IMWrSec, by
// numpy's clip and astype, and as a plain pwrite of bytes already narrowed.
void write_case(const Options &o, std::size_t side, int mode, float lo_source, float hi_source, Verdicts &v)
{
    const ImageLayout l = layout_for(o, side, mode);
    ScratchPath file(o, "write");
    ScratchPath source_file(o, "source");
    write_image(file.path(), l, false, [&](std::size_t, unsigned char *p) { std::memset(p, 0, l.section_bytes()); });

    std::vector<float> source(l.pixels());
    for (std::size_t i = 0; i < source.size(); ++i)
        source[i] = lo_source + (hi_source - lo_source) * static_cast<float>(mix(i) % 100000) / 1e5f;
    {
        Fd out(source_file.path(), O_WRONLY | O_CREAT | O_TRUNC);
        if (::write(out.get(), source.data(), source.size() * 4) != static_cast<ssize_t>(source.size() * 4))
            throw std::runtime_error("cannot write " + source_file.path());
    }
    std::vector<unsigned char> narrowed(l.section_bytes());
    std::size_t low = 0, high = 0;
    plain_narrow(mode, source.data(), narrowed.data(), l.pixels(), low, high);

    Fd fd(file.path(), O_RDWR);
    auto floor = [&] {
        for (std::size_t s = 0; s < l.sections; ++s)
            if (::pwrite(fd.get(), narrowed.data(), narrowed.size(), static_cast<off_t>(l.offset_of(s))) !=
                static_cast<ssize_t>(narrowed.size()))
                throw std::runtime_error("short pwrite");
    };
    LibraryStream stream(file.path(), "old", true);
    std::vector<unsigned char> back(l.section_bytes());
    const std::vector<unsigned char> spoiled(l.section_bytes(), 0xEE);
    auto library = [&] {
        // The last section is spoiled first, so that only this pass can have put the pixels there.
        ::pwrite(fd.get(), spoiled.data(), spoiled.size(), static_cast<off_t>(l.offset_of(l.sections - 1)));
        const double t = seconds([&] {
            if (!stream.write_all(source.data()))
                throw std::runtime_error("IMWrSec failed");
        });
        if (::pread(fd.get(), back.data(), back.size(), static_cast<off_t>(l.offset_of(l.sections - 1))) !=
                static_cast<ssize_t>(back.size()) ||
            back != narrowed) {
            std::printf("  WRONG: IMWrSec wrote other pixels than the plain loop\n");
            ++v.wrong;
        }
        return t;
    };
    const std::vector<std::string> numpy_extra = {source_file.path(), "0", mode == px::kModeByte ? "255" : "65535"};

    floor();
    Best b;
    for (int r = 0; r < o.rounds; ++r) {
        b.take(b.floor, seconds(floor));
        b.take(b.library, library());
        b.take(b.library, library());
        b.take(b.library_first, first_pass_seconds(o, {"write", file.path(), source_file.path()}));
        const NumpyTimes n =
            numpy_times(o, "write", file.path(), mode == px::kModeByte ? "uint8" : "uint16", l, numpy_extra);
        b.take(b.numpy.first, n.first);
        b.take(b.numpy.later, n.later);
    }
    std::printf("  mode %d from floats, %4.1f%% clamped  library %6.1f ms, pwrite %5.1f ms: %4.2fx "
                "the pwrite time\n",
                mode, 100.0 * static_cast<double>(low + high) / static_cast<double>(l.pixels()), b.library * 1e3,
                b.floor * 1e3, b.library / b.floor);
    print_against_numpy(b, v);
}

// The kernels against the plain loops on data that stays in the cache: the gain from
// vectorising, which the default flags forgo for the clamp loops.
void kernel_case(Verdicts &v)
{
    constexpr std::size_t n = 32768;
    constexpr int rounds = 3000;
    std::vector<float> floats(n);
    std::vector<std::int16_t> ints(n);
    for (std::size_t i = 0; i < n; ++i) {
        floats[i] = static_cast<float>(mix(i) % 70000) - 2000.0f;
        ints[i] = static_cast<std::int16_t>(mix(i + 7));
    }
    std::vector<float> section(n);
    std::vector<unsigned char> out(n * 2);
    auto best = [](const std::function<void()> &work) {
        double t = 1e300;
        for (int i = 0; i < 3; ++i)
            t = std::min(t, seconds(work));
        return t;
    };
    auto widen = [&](bool plain) {
        return best([&] {
            for (int r = 0; r < rounds; ++r) {
                std::memcpy(section.data(), ints.data(), n * 2);
                if (plain)
                    plain_widen_int16(section.data(), n);
                else
                    px::widen_to_float(px::kModeInt16, section.data(), n);
            }
        });
    };
    auto narrow = [&](int mode, bool plain) {
        return best([&] {
            px::ClampCounts c;
            for (int r = 0; r < rounds; ++r) {
                if (plain)
                    plain_narrow(mode, floats.data(), out.data(), n, c.low, c.high);
                else
                    px::narrow_from_float(mode, floats.data(), out.data(), n, c);
            }
        });
    };
    const double w = widen(true) / widen(false);
    const double n6 = narrow(6, true) / narrow(6, false);
    const double n0 = narrow(0, true) / narrow(0, false);
    std::printf("  kernel variant %s\n", px::kernel_variant());
    std::printf("  widening int16 in place   %6.2fx the plain loop's speed\n", w);
    std::printf("  clamping to mode 6        %6.2fx the plain loop's speed (%s > 4)\n", n6, v.judge(n6 > 4));
    std::printf("  clamping to mode 0        %6.2fx the plain loop's speed (%s > 4)\n", n0, v.judge(n0 > 4));
}

// --first-pass read PATH CONVERT | --first-pass write PATH SOURCE: one pass in this fresh
// process, with a buffer it has not touched yet; prints the CPU seconds.
int first_pass(int argc, char **argv)
{
    const std::string op = argc > 2 ? argv[2] : "";
    if (op == "read" && argc == 5) {
        const bool convert = std::string(argv[4]) == "1";
        LibraryStream stream(argv[3], "ro", convert);
        auto *buffer = static_cast<float *>(std::malloc(stream.pixels() * 8));
        if (!buffer)
            return 2;
        const double t = seconds([&] {
            if (!stream.read_all(buffer))
                throw std::runtime_error("IMRdSec failed");
        });
        std::printf("%.9f\n", t);
        std::free(buffer);
        return 0;
    }
    if (op == "write" && argc == 5) {
        LibraryStream stream(argv[3], "old", true);
        std::vector<float> source(stream.pixels());
        Fd in(argv[4], O_RDONLY);
        if (::read(in.get(), source.data(), source.size() * 4) != static_cast<ssize_t>(source.size() * 4))
            return 2;
        const double t = seconds([&] {
            if (!stream.write_all(source.data()))
                throw std::runtime_error("IMWrSec failed");
        });
        std::printf("%.9f\n", t);
        return 0;
    }
    return 2;
}

constexpr const char *kUsage = "usage: im_io_bench [--rounds N] [--file-mib N] [--sections 2048,512] "
                               "[--cases kernels,reads,writes] [--dir DIR] [--python PATH]";

Options parse(int argc, char **argv)
{
    Options o;
    if (const char *p = std::getenv("LX_BENCH_PYTHON"))
        o.python = p;
    for (int i = 1; i < argc; i += 2) {
        const std::string a = argv[i];
        if (i + 1 >= argc)
            throw std::runtime_error(kUsage);
        const char *value = argv[i + 1];
        if (a == "--rounds") {
            o.rounds = std::max(1, std::atoi(value));
        } else if (a == "--file-mib") {
            o.file_mib = std::max<std::size_t>(16, std::strtoul(value, nullptr, 10));
        } else if (a == "--sections") {
            o.sizes.clear();
            std::istringstream list(value);
            for (std::string item; std::getline(list, item, ',');)
                o.sizes.push_back(std::max<std::size_t>(64, std::strtoul(item.c_str(), nullptr, 10)));
        } else if (a == "--cases") {
            o.cases = value;
        } else if (a == "--dir") {
            o.dir = value;
        } else if (a == "--python") {
            o.python = value;
        } else {
            throw std::runtime_error(std::string("unknown option ") + a + "\n" + kUsage);
        }
    }
    return o;
}

} // namespace

int main(int argc, char **argv)
{
    try {
        if (argc > 1 && std::string(argv[1]) == "--first-pass")
            return first_pass(argc, argv);
        const Options o = parse(argc, argv);
        Verdicts v;
        std::printf("im_io: %zu MiB files in %s, CPU time, best of %d rounds\n", o.file_mib, o.dir.c_str(), o.rounds);
        if (o.wants("kernels")) {
            std::printf("vectorised kernels, in cache:\n");
            kernel_case(v);
        }
        for (std::size_t side : o.sizes) {
            if (o.wants("reads")) {
                std::printf("section reads, %zu x %zu pixels:\n", side, side);
                read_case(o, side, px::kModeInt16, false, true, v);
                read_case(o, side, px::kModeInt16, true, true, v);
                read_case(o, side, px::kModeUInt16, false, true, v);
                read_case(o, side, px::kModeUInt16, true, true, v);
                read_case(o, side, px::kModeFloat, false, false, v);
            }
            if (o.wants("writes")) {
                std::printf("section writes with clamping, %zu x %zu pixels:\n", side, side);
                write_case(o, side, px::kModeUInt16, -500.0f, 67000.0f, v);
                write_case(o, side, px::kModeByte, -5.0f, 262.0f, v);
            }
        }
        std::printf("%d targets missed, %d wrong results\n", v.missed, v.wrong);
        return v.wrong ? 1 : 0;
    } catch (const std::exception &e) {
        std::fprintf(stderr, "im_io_bench: %s\n", e.what());
        return 2;
    }
}
