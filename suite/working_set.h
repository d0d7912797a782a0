// The working-set and working-unit rules of the suite's start-up.
#pragma once

namespace lx::suite {

struct WorkingSet {
    int setMB;
    int unitMB;
};

// Reads both settings and applies the arena-size limits; lowered values are stored back with
// SetSetting and the user settings file is rewritten.
WorkingSet DecideWorkingSet(int arenaMB);

// The first of `names` that is set, read with "%d"; `fallback` when none is set, when it does
// not parse, or (with `checkRange`) when it lies outside 0..15000.
int FirstIntSetting(const char *const *names, int count, int fallback, bool checkRange);

} // namespace lx::suite
