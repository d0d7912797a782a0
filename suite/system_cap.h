// The system's shared-memory cap, read from a file that tests may replace.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace lx::suite {

inline constexpr const char *kSystemCapFile = "/proc/sys/kernel/shmmax";

// Where the cap is read from; kSystemCapFile unless a test chose another file.
void SetSystemCapFileForTesting(const std::string &path);

// Checks that `size` bytes plus one megabyte fit under the cap, printing the reason when not.
bool ArenaSizeFitsCap(uint64_t size);

} // namespace lx::suite
