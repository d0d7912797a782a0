// IMReportInfo: a readable summary of a stream's header on standard output.
#include <lumarix/im.h>

#include <algorithm>
#include <cstdio>

#include "im_call.h"

using namespace lx::im;

namespace {

const char *sequence_text(int sequence)
{
    switch (sequence) {
    case IM_SEQ_ZTWP: return "Z -> T -> W";
    case IM_SEQ_WZTP: return "W -> Z -> T";
    case IM_SEQ_ZWTP: return "Z -> W -> T";
    default: return IMRtSequenceName(sequence);
    }
}

} // namespace

extern "C" int IMReportInfo(int stream)
{
    return boundary(__func__, stream, [&](Stream &s) -> int {
        const int waves = std::min(std::max(s.nw, 0), s.max_waves);
        std::printf("\n");
        if (!s.name.empty())
            std::printf("Image Name............................\t%s\n", s.name.c_str());
        std::printf("Size (X, Y, Z)........................\t%d %d %d\n", s.nx, s.ny, s.nz);
        std::printf("Size (W, T, P)........................\t%d %d %d\n", s.nw, s.nt, s.np);
        std::printf("Data Type.............................\t%s\n", mode_name(s.mode));
        std::printf("Sequence..............................\t%s\n", sequence_text(s.sequence));
        std::printf("Pixel Size (dX, dY, dZ)...............\t%.3f %.3f %.3f\n", static_cast<double>(s.pixel_size[0]),
                    static_cast<double>(s.pixel_size[1]), static_cast<double>(s.pixel_size[2]));
        std::printf("Wavelengths (nm)......................\t");
        for (int w = 0; w < waves; ++w)
            std::printf("%.2f  ", static_cast<double>(s.wave[w]));
        std::printf("\n");
        for (int w = 0; w < waves; ++w)
            std::printf("Min, Max, Mean (w=%.1f nm)...........\t%.2f %.2f %.2f\n", static_cast<double>(s.wave[w]),
                        static_cast<double>(s.wave_min[w]), static_cast<double>(s.wave_max[w]),
                        static_cast<double>(s.wave_mean[w]));
        std::printf("Rotation Angles (alpha, beta, gamma)..\t%.2f %.2f %.2f\n", static_cast<double>(s.rotation[0]),
                    static_cast<double>(s.rotation[1]), static_cast<double>(s.rotation[2]));
        std::printf("Extended Header Size (bytes)..........\t%d\n", s.ext_size);
        std::printf("Extended Header Type .................\t%d\n", s.ext_type);
        std::printf("Image Type............................\t%d\n", s.image_type);
        std::printf("Lens ID Number........................\t%d\n", s.lens_id);
        std::printf("\nTitles................................\n");
        for (int i = 0; i < s.title_count; ++i)
            std::printf("%s\n", s.titles[i].data());
        std::printf("\n");
        std::fflush(stdout);
        return 0;
    });
}
