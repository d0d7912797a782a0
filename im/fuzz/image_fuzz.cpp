// Opens arbitrary bytes as an image file and reads what it can: header, extended header,
// per-section values, fields, pixels by section, line and rectangle with and without conversion,
// and a header and pixel write to a scratch copy.
#include <lumarix/im.h>

#include <fcntl.h>
#include <unistd.h>

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(undefined_behavior_sanitizer)
#include <sanitizer/common_interface_defs.h>
#define LX_HAS_SANITIZER_REPORT_FD 1
#endif
#endif
#ifndef LX_HAS_SANITIZER_REPORT_FD
#define LX_HAS_SANITIZER_REPORT_FD 0
#endif

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

std::string scratch_path(const char *tag)
{
    const char *dir = std::getenv("TMPDIR");
    return std::string(dir ? dir : "/tmp") + "/image_fuzz_" + std::to_string(getpid()) + tag;
}

bool write_file(const std::string &path, const uint8_t *data, size_t size)
{
    std::FILE *f = std::fopen(path.c_str(), "wb");
    if (!f)
        return false;
    const bool ok = std::fwrite(data, 1, size, f) == size;
    return std::fclose(f) == 0 && ok;
}

void read_pixels(int stream, int nx, int ny, int nsec);

void read_what_we_can(int stream)
{
    int nx, ny, nsec, nz, nw, nt, np, mode, bytes, type, ni, nr, size, count = 0;
    IMRtSiz(stream, &nx, &ny, &nsec);
    IMRtZWTP(stream, &nz, &nw, &nt, &np);
    IMRtMode(stream, &mode);
    IMRtBytesPerPixel(stream, &bytes);
    IMRtExHdrInfo(stream, &type, &ni, &nr);
    IMRtExHdrSize(stream, &size);
    float mmm[3];
    for (int w = 0; w < 12; ++w)
        IMRtScl(stream, w, mmm);
    double stamp;
    IMRtTimeStamp(stream, &stamp);
    char titles[10 * 80];
    int ntitles = 0;
    IMRtNumLab(stream, &ntitles);
    IMRtLab2(stream, ntitles, titles);
    if (ni >= 0 && nr >= 0 && ni < 4096 && nr < 4096) {
        std::vector<int> ints(ni + 1);
        std::vector<float> floats(nr + 1);
        IMRtExHdrZWTP(stream, 0, 0, 0, 0, ints.data(), floats.data());
        IMRtExHdr(stream, nsec > 0 ? nsec - 1 : 0, ints.data(), floats.data());
        double value;
        IMRtExHdrValueZWTP(stream, 0, 0, 0, 0, 1000, &value);
        IMRtExHdrValueZWTP(stream, 0, 0, 0, 0, 3, &value);
    }
    IMRtNumFields(stream, &count);
    for (int i = 0; i < count && i < 64; ++i) {
        char name[64], kind;
        int fsize;
        if (IMRtFieldNum(stream, i, name, &kind, &fsize) == 0) {
            int iv;
            float fv;
            double dv;
            char text[128];
            std::vector<char> raw(static_cast<size_t>(fsize) + 1);
            IMRtFieldInt(stream, name, &iv);
            IMRtFieldFloat(stream, name, &fv);
            IMRtFieldDouble(stream, name, &dv);
            IMRtFieldChar(stream, name, text, sizeof text);
            IMRtFieldBinary(stream, name, raw.data(), static_cast<int>(raw.size()), &fsize);
        }
    }
    std::vector<char> area(70000);
    int length;
    IMRtFieldHdr(stream, area.data(), static_cast<int>(area.size()), &length);
    IMPosnZWTP(stream, 0, 0, 0, 0);
    read_pixels(stream, nx, ny, nsec);
}

// Sections small enough for a buffer of their size: each read form, converted and as stored.
void read_pixels(int stream, int nx, int ny, int nsec)
{
    if (nx <= 0 || ny <= 0 || static_cast<long long>(nx) * ny > (1 << 16))
        return;
    const size_t pixels = static_cast<size_t>(nx) * static_cast<size_t>(ny);
    // Room for 8-byte pixels, and for a pad of one pixel a line.
    std::vector<double> buffer(pixels + static_cast<size_t>(nx) + static_cast<size_t>(ny));
    for (int convert : {1, 0}) {
        IMALCon(stream, convert);
        IMPosn(stream, 0, 0);
        IMRdSec(stream, buffer.data());
        IMRdLin(stream, buffer.data());
        IMRdPas(stream, buffer.data(), nx, ny, nx / 2, nx - 1, ny / 2, ny - 1);
        IMRdPal(stream, buffer.data(), nx + 1);
        if (nsec > 1)
            IMRdSec(stream, buffer.data());
    }
}

} // namespace

// The library prints a line for every refusal; those go to /dev/null while an input runs, and
// sanitizer reports go to the saved standard error.
class QuietStderr {
public:
    QuietStderr()
    {
        saved();
        std::fflush(stderr);
        dup2(devnull(), 2);
    }
    ~QuietStderr()
    {
        std::fflush(stderr);
        dup2(saved(), 2);
    }
    static int saved()
    {
        static const int fd = dup(2);
        return fd;
    }

private:
    static int devnull()
    {
        static const int fd = open("/dev/null", O_WRONLY);
        return fd;
    }
};

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const bool ready = [] {
        std::freopen("/dev/null", "w", stdout);
#if LX_HAS_SANITIZER_REPORT_FD
        __sanitizer_set_report_fd(reinterpret_cast<void *>(static_cast<intptr_t>(QuietStderr::saved())));
#endif
        return true;
    }();
    (void)ready;
    QuietStderr quiet;
    const std::string path = scratch_path(".img");
    if (!write_file(path, data, size))
        return 0;
    IMOpen(1, path.c_str(), "ro"); // a failed open leaves the slot empty: every call then refuses
    read_what_we_can(1);
    IMClose(1);
    // The same bytes opened for update: the header and extended header are written back.
    if (IMOpen(2, path.c_str(), "old_unbuffered") == 0) {
        read_what_we_can(2);
        IMAlFieldInt(2, "FuzzCount", static_cast<int>(size));
        const float pixel[2] = {300.0f, -1.0f}; // room for one pixel of any mode
        IMALCon(2, 1);
        IMPosn(2, 0, 0);
        IMWrPas(2, pixel, 1, 1, 0, 0, 0, 0);
        IMWrHdr(2, "fuzz", 1, 0.0f, 1.0f, 0.5f);
        IMClose(2);
        if (IMOpen(3, path.c_str(), "ro") == 0) {
            read_what_we_can(3);
            IMClose(3);
        }
    }
    unlink(path.c_str());
    return 0;
}
