#include "system/mod_string.h"

#include <cctype>
#include <cstdio>

#include "log/mod_log.h"
#include "system/mod_conf.h"
#include "system/mod_hal.h"

namespace QZ {
namespace SYSTEM {

Mod_string* mod_string = nullptr;

namespace {

constexpr char ESC = 27;

bool is_name_char(char c) { return std::isalnum(static_cast<unsigned char>(c)) || c == '_'; }

std::string join_path(const std::string& directory, const std::string& file)
{
    return directory + "/" + file;
}

// What a "!" entry joins with: the part of the name behind its last slash.
std::string base_name(const std::string& file)
{
    size_t slash = file.rfind('/');
    return slash == std::string::npos ? file : file.substr(slash + 1);
}

}  // namespace

bool is_absolute_path(const char* path)
{
    if (!path || !*path)
        return false;
    if (path[0] == '/' || path[0] == '\\')
        return true;
    return std::isalpha(static_cast<unsigned char>(path[0])) && path[1] == ':' && (path[2] == '/' || path[2] == '\\');
}

Path_set::Path_set(const std::string& name) : name_(name)
{
    char config_name[128];
    for (int index = 0; index < 3; ++index) {
        std::snprintf(config_name, sizeof config_name, "path_%.100s_%d", name.c_str(), index);
        config_names_[index] = config_name;
        if (mod_conf)
            mod_conf->register_text(MODULE_STR, config_names_[index], "search path list", &lists_[index],
                                    &has_list_[index]);
    }
}

Path_set::~Path_set()
{
    if (mod_conf)
        for (const std::string& config_name : config_names_)
            mod_conf->unregister(MODULE_STR, config_name);
}

void Path_set::set_list(int index, const char* text)
{
    has_list_[index] = text != nullptr;
    lists_[index] = text ? text : "";
    recount();
}

void Path_set::recount()
{
    // Each non-empty list counts one more entry than it has semicolons.
    entry_count_ = 0;
    for (int index = 0; index < 3; ++index) {
        if (!has_list_[index] || lists_[index].empty())
            continue;
        entry_count_ += 1;
        for (char c : lists_[index])
            entry_count_ += c == ';';
    }
}

Mod_string::Mod_string() : Module(MODULE_STR, "STR") {}

Mod_string::~Mod_string() { clear_path_sets(); }

void Mod_string::set_path(int index, const char* name, const char* text)
{
    if (!name || index < 0 || index > 2)
        return;
    auto& slot = path_sets_[name];
    if (!slot)
        slot = std::make_unique<Path_set>(name);
    slot->set_list(index, text);
}

const Path_set* Mod_string::find_path_set(const std::string& name) const
{
    auto it = path_sets_.find(name);
    return it == path_sets_.end() ? nullptr : it->second.get();
}

uint32_t Mod_string::get_entry_count(const char* name) const
{
    const Path_set* set = name ? find_path_set(name) : nullptr;
    if (!set)
        return 0;
    // Lists may have been changed through the configuration module since the last count.
    const_cast<Path_set*>(set)->recount();
    return set->entry_count();
}

std::vector<std::string> Mod_string::get_path_list(const char* name) const
{
    std::vector<std::string> entries;
    const Path_set* set = name ? find_path_set(name) : nullptr;
    if (!set)
        return entries;
    for (int index = 0; index < 3; ++index) {
        const std::string* list = set->list(index);
        if (!list)
            continue;
        size_t start = 0;
        while (start <= list->size()) {
            size_t end = list->find(';', start);
            if (end == std::string::npos)
                end = list->size();
            if (end > start)
                entries.push_back(expand(list->substr(start, end - start).c_str()));
            start = end + 1;
        }
    }
    return entries;
}

std::string Mod_string::expand(const char* text) const
{
    std::string out;
    if (!text)
        return out;
    auto room = [&out]() { return out.size() < EXPANSION_BUFFER; };
    const char* p = text;
    while (*p && room()) {
        if (*p == ESC) {
            ++p;
            if (!*p)
                break;
            out += *p++;
            continue;
        }
        bool starts_variable = p[0] == '$' && (p[1] == '{' || p[1] == '_' ||
                                              std::isalnum(static_cast<unsigned char>(p[1])));
        if (!starts_variable) {
            out += *p++;
            continue;
        }
        const char* q = p + 1;
        bool braced = *q == '{';
        if (braced)
            ++q;
        bool optional = *q == '@';
        if (optional)
            ++q;
        std::string variable;
        if (braced) {
            const char* close = q;
            while (*close && *close != '}')
                ++close;
            if (!*close) {
                if (LOG::mod_log)
                    LOG::mod_log->warning(MODULE_STR, LOG::CAT_DISK, 0,
                                        "path substitution: unterminated $var name \"%s\"", q);
                return out;
            }
            variable.assign(q, close);
            q = close + 1;
        } else {
            const char* end = q;
            while (is_name_char(*end))
                ++end;
            variable.assign(q, end);
            q = end;
        }
        const char* value = mod_hal ? mod_hal->get_environment(variable.c_str()) : std::getenv(variable.c_str());
        if (!value) {
            // The text ends in front of the '$': what follows an undefined variable is dropped.
            if (!optional && LOG::mod_log)
                LOG::mod_log->warning(MODULE_STR, LOG::CAT_DISK, 0, "path substitution: undefined $var \"%s\"",
                                    variable.c_str());
            return out;
        }
        out += value;
        p = q;
    }
    if (out.size() > EXPANSION_BUFFER)
        out.resize(EXPANSION_BUFFER);
    return out;
}

std::string Mod_string::resolve_file(const char* name, const char* file) const
{
    if (!file)
        return std::string();
    Mod_hal* hal = mod_hal;
    auto exists = [hal](const std::string& path) {
        return hal ? hal->file_exists(path.c_str()) : false;
    };
    if (is_absolute_path(file) && exists(file))
        return file;
    std::vector<std::string> entries = get_path_list(name);
    std::string expanded = expand(file);
    bool absolute = is_absolute_path(expanded.c_str());
    for (int pass = 0; pass < 2; ++pass) {
        for (const std::string& entry : entries) {
            std::string candidate;
            if (!entry.empty() && entry[0] == '!')
                candidate = join_path(entry.substr(1), base_name(expanded));
            else if (absolute)
                continue;
            else
                candidate = join_path(entry, expanded);
            if (exists(candidate)) {
                if (LOG::mod_log)
                    LOG::mod_log->debug(MODULE_STR, LOG::CAT_DISK, "found \"%s\" in path \"%s\" -> \"%s\"",
                                        file, entry.c_str(), candidate.c_str());
                return candidate;
            }
            if (pass == 1 && LOG::mod_log)
                LOG::mod_log->debug(MODULE_STR, LOG::CAT_DISK,
                                    "searching for \"%s\" in path \"%s\" -> \"%s\", not found", file, entry.c_str(),
                                    candidate.c_str());
        }
    }
    return std::string();
}

std::string Mod_string::resolve_data_file(const char* name, const char* file)
{
    std::string found = resolve_file(name, file);
    if (!found.empty() || !file || !LOG::mod_log)
        return found;
    {
        std::lock_guard<std::mutex> lock(missing_mutex_);
        if (!missing_reported_.insert(file).second)
            return found;
    }
    // An empty entry searches the working directory, as "." does; each place is named once.
    std::string places;
    std::set<std::string> named;
    for (const std::string& entry : get_path_list(name)) {
        std::string place = entry.empty() ? std::string(".") : entry;
        if (named.insert(place).second)
            places += (places.empty() ? "" : ", ") + place;
    }
    LOG::mod_log->warning(MODULE_STR, LOG::CAT_DISK, 0, "data file \"%s\" not found; looked in: %s", file,
                          places.empty() ? "(no directories)" : places.c_str());
    return found;
}

}  // namespace SYSTEM
}  // namespace QZ
