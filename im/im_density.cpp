// IMCalcDen: the intensity statistics of a region of a section held as floats, as IMWrHdr and
// IMAlWavMMM record them.
#include <lumarix/im.h>

#include <algorithm>
#include <cstdio>

#include "im_call.h"

using namespace lx::im;

extern "C" int IMCalcDen(int stream, const float *section, int first_col, int last_col, int first_row, int last_row,
                         float *min, float *max, float *mean)
{
    return boundary(__func__, stream, [&](Stream &s) -> int {
        const bool columns_ok = first_col >= 0 && first_col <= last_col && last_col < s.nx;
        const bool rows_ok = first_row >= 0 && first_row <= last_row && last_row < s.ny;
        if (!columns_ok || !rows_ok || !section || !min || !max || !mean) {
            say(": invalid ROI.\n");
            return columns_ok ? IM_ERR_ROWS : IM_ERR_COLUMNS;
        }
        double low = section[static_cast<long long>(first_row) * s.nx + first_col], high = low, sum = 0;
        for (long long row = first_row; row <= last_row; ++row) {
            const float *line = section + row * s.nx;
            for (long long col = first_col; col <= last_col; ++col) {
                const double v = line[col];
                low = std::min(low, v);
                high = std::max(high, v);
                sum += v;
            }
        }
        const double count =
            (static_cast<double>(last_col) - first_col + 1) * (static_cast<double>(last_row) - first_row + 1);
        *min = static_cast<float>(low);
        *max = static_cast<float>(high);
        *mean = static_cast<float>(sum / count);
        return 0;
    });
}
