// A list of (name, value) settings, as kept by the lookup for the setting cache and for the
// settings set in this process. Texts live in their own allocations so that pointers handed
// out by GetSetting stay valid while the list grows.
#pragma once

#include <cstddef>
#include <memory>
#include <string_view>
#include <vector>

namespace lx::settings {

class SettingList {
public:
    static constexpr std::size_t kGrowth = 40; // entries added per growth step

    struct Entry {
        std::unique_ptr<char[]> name;  // "" for an entry disabled by SetSetting
        std::unique_ptr<char[]> value; // null only for a disabled entry
    };

    // Appends a pair; returns the stored value text.
    const char *append(std::string_view name, std::string_view value);
    // The first live entry whose name equals `name` exactly, or null.
    Entry *find(std::string_view name);
    // Empties the name and releases the value of the first entry named `name`.
    void disable(std::string_view name);
    // Replaces the value of the entry named `name`, or appends a new entry.
    void assign(std::string_view name, std::string_view value);

    const std::vector<Entry> &entries() const { return entries_; }
    std::size_t capacity() const { return entries_.capacity(); }

private:
    std::vector<Entry> entries_;
};

std::unique_ptr<char[]> copyText(std::string_view text);

// The process's two lists.
SettingList &settingCache();
SettingList &userSettingsList();

} // namespace lx::settings
