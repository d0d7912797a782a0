// What a C program does to read a whole image file into memory: open a stream, one fresh buffer
// for every section, IMRdSec section after section, close. Prints the seconds of each pass.
// The buffer is allocated as numpy allocates a large array (2 MiB aligned, advised to use huge
// pages), so that both pay the same for first touching its pages.
// Usage: im_python_c_read PATH ATTRIBUTE PASSES
#include <lumarix/im.h>

#include <sys/mman.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>

namespace {

double read_once(const char *path, const char *attribute)
{
    const auto start = std::chrono::steady_clock::now();
    if (IMOpen(1, path, attribute) != 0)
        std::exit(1);
    int nx = 0, ny = 0, sections = 0, bytes = 0;
    IMRtSiz(1, &nx, &ny, &sections);
    IMRtBytesPerPixel(1, &bytes);
    IMALCon(1, 0);
    const size_t section_bytes = static_cast<size_t>(nx) * ny * bytes;
    const size_t huge_page = size_t{2} << 20, total = section_bytes * sections;
    const size_t rounded = (total + huge_page - 1) / huge_page * huge_page;
    std::unique_ptr<char, decltype(&std::free)> buffer(static_cast<char *>(std::aligned_alloc(huge_page, rounded)),
                                                       &std::free);
    madvise(buffer.get(), rounded, MADV_HUGEPAGE);
    for (int s = 0; s < sections; ++s)
        if (IMRdSec(1, buffer.get() + section_bytes * s) != 0)
            std::exit(1);
    IMClose(1);
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 4) {
        std::fprintf(stderr, "usage: %s PATH ATTRIBUTE PASSES\n", argv[0]);
        return 2;
    }
    for (int pass = 0, passes = std::atoi(argv[3]); pass < passes; ++pass)
        std::printf("%.6f\n", read_once(argv[1], argv[2]));
    return 0;
}
