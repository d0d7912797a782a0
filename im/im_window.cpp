// The runtime used while no image window runtime is installed.
#include "im_window.h"

namespace lx::im {
namespace {

class NoWindows final : public WindowRuntime {
public:
    bool exists(int) override { return false; }
    bool open(int, const char *) override { return false; }
    void close(int) override {}
    unsigned char *header(int) override { return nullptr; }
    unsigned char *allocate_ext_header(int, std::size_t) override { return nullptr; }
    int position(int) override { return 0; }
    void set_position(int, int) override {}
    bool read_rect(int, const SectionRect &, bool, void *, std::size_t) override { return false; }
    bool write_rect(int, const SectionRect &, bool, const void *, std::size_t) override { return false; }
};

NoWindows g_no_windows;
WindowRuntime *g_runtime = &g_no_windows;

} // namespace

WindowRuntime &window_runtime() { return *g_runtime; }
void set_window_runtime(WindowRuntime *runtime) { g_runtime = runtime ? runtime : &g_no_windows; }

} // namespace lx::im
