"""imread of a 512 MiB int16 file beside the C API's read of the same file and numpy.fromfile of
its raw pixel bytes, and the time imread(mmap=True) takes to open it. Every figure is the best of
several passes over a file in the page cache (wall-clock seconds).

Usage: /usr/bin/python3 bench/im_python/imread_bench.py BUILD_DIR [PATH] [PASSES]
"""
import os
import subprocess
import sys
import time

BUILD = sys.argv[1] if len(sys.argv) > 1 else "build"
PATH = sys.argv[2] if len(sys.argv) > 2 else "/tmp/lumarix-imread-bench.img"
PASSES = int(sys.argv[3]) if len(sys.argv) > 3 else 7
sys.path.insert(0, os.path.join(BUILD, "python"))

import numpy  # noqa: E402

import lumarix  # noqa: E402


def best(run, passes=PASSES):
    times = []
    for _ in range(passes):
        start = time.perf_counter()
        run()
        times.append(time.perf_counter() - start)
    return min(times)


def c_api(attribute):
    program = os.path.join(BUILD, "bench", "im_python", "im_python_c_read")
    out = subprocess.run([program, PATH, attribute, str(PASSES)], check=True, capture_output=True, text=True)
    return min(float(line) for line in out.stdout.split())


def main():
    if not os.path.exists(PATH):  # 1024 sections of 512 x 512 int16 pixels: 512 MiB of pixels
        stack = numpy.random.default_rng(0).integers(-2000, 2000, (1024, 512, 512), dtype=numpy.int16)
        lumarix.imwrite(PATH, stack, axes="ZYX")
        del stack
    with lumarix.ImageFile(PATH) as f:
        offset, shape, mib = f.header["data_offset"], f.shape, f.sections * 512 * 512 * 2 / 2 ** 20
    assert (lumarix.imread(PATH) == numpy.fromfile(PATH, numpy.int16, offset=offset).reshape(shape)).all()

    rows = [
        ("lumarix.imread", best(lambda: lumarix.imread(PATH))),
        ("C API, IMRdSec, ro_unbuffered", c_api("ro_unbuffered")),
        ("C API, IMRdSec, ro (buffered)", c_api("ro")),
        ("numpy.fromfile of the raw bytes", best(lambda: numpy.fromfile(PATH, numpy.int16, offset=offset))),
    ]
    small = PATH + ".small"  # one section: the memory map should open as fast
    lumarix.imwrite(small, numpy.zeros((1, 512, 512), numpy.int16))
    mmap_open = best(lambda: lumarix.imread(PATH, mmap=True), 200)
    mmap_small = best(lambda: lumarix.imread(small, mmap=True), 200)
    os.remove(small)
    print(f"{PATH}: {mib:.0f} MiB of int16 pixels, shape {shape}, best of {PASSES}")
    for name, seconds in rows:
        print(f"  {name:34s} {seconds * 1e3:8.1f} ms  {mib / 1024 / seconds:5.2f} GiB/s"
              f"  {seconds / rows[1][1]:5.2f}x the C API")
    print(f"  {'lumarix.imread(mmap=True) opens in':34s} {mmap_open * 1e3:8.3f} ms (best of 200; "
          f"{mmap_small * 1e3:.3f} ms for a 512 KiB file)")


if __name__ == "__main__":
    main()
