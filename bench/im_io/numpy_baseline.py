"""What a user would write with numpy to read or write the same sections. Runs `passes` passes
over the file in this interpreter and prints two CPU times (user and system) in seconds: the
first pass, and the best of the later ones.

read  PATH DTYPE NX NY SECTIONS OFFSET PASSES
      numpy.fromfile(f, DTYPE, NX*NY).astype(numpy.float32) per section ('<f4' is read as is)
write PATH DTYPE NX NY SECTIONS OFFSET PASSES SOURCE LO HI
      numpy.clip(source, LO, HI).astype(DTYPE).tofile(f) per section, over an existing file
"""
import sys
import time

import numpy


def read_pass(path, dtype, pixels, sections, offset):
    convert = numpy.dtype(dtype) != numpy.dtype(numpy.float32)
    with open(path, "rb") as f:
        f.seek(offset)
        start = time.process_time()
        for _ in range(sections):
            a = numpy.fromfile(f, dtype=dtype, count=pixels)
            if convert:
                a = a.astype(numpy.float32)
            if a.size != pixels:
                sys.exit("short read")
        return time.process_time() - start


def write_pass(path, dtype, src, sections, offset, lo, hi):
    with open(path, "r+b") as f:
        f.seek(offset)
        start = time.process_time()
        for _ in range(sections):
            numpy.clip(src, lo, hi).astype(dtype).tofile(f)
        f.flush()
        return time.process_time() - start


def main(argv):
    op, path, dtype = argv[1], argv[2], argv[3]
    nx, ny, sections, offset, passes = (int(x) for x in argv[4:9])
    if op == "read":
        run = lambda: read_pass(path, dtype, nx * ny, sections, offset)
    else:
        src = numpy.fromfile(argv[9], dtype=numpy.float32, count=nx * ny)
        lo, hi = float(argv[10]), float(argv[11])
        run = lambda: write_pass(path, dtype, src, sections, offset, lo, hi)
    times = [run() for _ in range(max(2, passes))]
    print(f"{times[0]:.9f} {min(times[1:]):.9f}")


if __name__ == "__main__":
    main(sys.argv)
