// Every text the configuration-file code shows the user, in one place.
#pragma once

#include <string>
#include <string_view>

namespace lx::msg {

// Checks before a save.
std::string dependencyUndefined(std::string_view shortDesc, std::string_view dependsOn,
                                std::string_view descriptionFile);
std::string dependencyWithoutValue(std::string_view shortDesc, std::string_view dependsOn);
std::string wrongValueCount(std::string_view shortDesc, int required);
std::string mustHaveValue(std::string_view shortDesc);
std::string pathMissing(std::string_view shortDesc, std::string_view path);
std::string pathNotReadable(std::string_view shortDesc, std::string_view path);
std::string pathNotWritable(std::string_view shortDesc, std::string_view path);
std::string pathStrangeCharacters(std::string_view shortDesc);

// The save. Each failure names what failed, the file and the system's reason, and says that the
// configuration file was left as it was.
inline constexpr std::string_view kOpenConfigFailed = "Couldn't open user's configuration file!";
inline constexpr std::string_view kCreateTempFailed = "Couldn't create temp configuration file!";
inline constexpr std::string_view kCreateConfigFailed = "Couldn't create user's configuration file!";
inline constexpr std::string_view kReadConfigFailed = "Couldn't read user's configuration file!";
inline constexpr std::string_view kWriteTempFailed = "Couldn't write temp configuration file!";
inline constexpr std::string_view kReplaceConfigFailed = "Couldn't replace user's configuration file!";
inline constexpr std::string_view kBackupFailed = "Couldn't make the backup copy of the configuration file!";
std::string saveFailed(std::string_view what, std::string_view file, int error, bool oldFileExists);

// The report after a save.
std::string saved(std::string_view path);
std::string savedRestartNeeded(std::string_view path);

} // namespace lx::msg
