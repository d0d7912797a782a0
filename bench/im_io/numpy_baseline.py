"""What a user would write with numpy to read or write the same sections; prints the best CPU time
(user and system) in seconds of `passes` passes over the file.

read  PATH DTYPE NX NY SECTIONS OFFSET PASSES
      numpy.fromfile(f, DTYPE, NX*NY).astype(numpy.float32) per section ('<f4' is read as is)
write PATH DTYPE NX NY SECTIONS OFFSET PASSES SOURCE LO HI
      numpy.clip(source, LO, HI).astype(DTYPE).tofile(f) per section, over an existing file
"""
import sys
import time

import numpy


def read(path, dtype, pixels, sections, offset, passes):
    convert = numpy.dtype(dtype) != numpy.dtype(numpy.float32)
    best = float("inf")
    for _ in range(passes):
        with open(path, "rb") as f:
            f.seek(offset)
            start = time.process_time()
            for _ in range(sections):
                a = numpy.fromfile(f, dtype=dtype, count=pixels)
                if convert:
                    a = a.astype(numpy.float32)
                if a.size != pixels:
                    sys.exit("short read")
            best = min(best, time.process_time() - start)
    return best


def write(path, dtype, pixels, sections, offset, passes, source, lo, hi):
    src = numpy.fromfile(source, dtype=numpy.float32, count=pixels)
    best = float("inf")
    for _ in range(passes):
        with open(path, "r+b") as f:
            f.seek(offset)
            start = time.process_time()
            for _ in range(sections):
                numpy.clip(src, lo, hi).astype(dtype).tofile(f)
            f.flush()
            best = min(best, time.process_time() - start)
    return best


def main(argv):
    op, path, dtype = argv[1], argv[2], argv[3]
    nx, ny, sections, offset, passes = (int(x) for x in argv[4:9])
    if op == "read":
        t = read(path, dtype, nx * ny, sections, offset, passes)
    else:
        t = write(path, dtype, nx * ny, sections, offset, passes, argv[9], float(argv[10]),
                  float(argv[11]))
    print(f"{t:.9f}")


if __name__ == "__main__":
    main(sys.argv)
