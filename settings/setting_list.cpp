#include "setting_list.h"

#include <cstring>

namespace lx::settings {

std::unique_ptr<char[]> copyText(std::string_view text)
{
    auto copy = std::make_unique<char[]>(text.size() + 1);
    std::memcpy(copy.get(), text.data(), text.size());
    copy[text.size()] = '\0';
    return copy;
}

const char *SettingList::append(std::string_view name, std::string_view value)
{
    if (entries_.size() == entries_.capacity())
        entries_.reserve(entries_.capacity() + kGrowth);
    entries_.push_back(Entry{copyText(name), copyText(value)});
    return entries_.back().value.get();
}

SettingList::Entry *SettingList::find(std::string_view name)
{
    for (auto &entry : entries_)
        if (entry.value && name == entry.name.get())
            return &entry;
    return nullptr;
}

void SettingList::disable(std::string_view name)
{
    if (Entry *entry = find(name)) {
        entry->name = copyText("");
        entry->value.reset();
    }
}

void SettingList::assign(std::string_view name, std::string_view value)
{
    if (Entry *entry = find(name))
        entry->value = copyText(value);
    else
        append(name, value);
}

SettingList &settingCache()
{
    static SettingList cache;
    return cache;
}

SettingList &userSettingsList()
{
    static SettingList list;
    return list;
}

} // namespace lx::settings
