// Strings and the named search path sets ("shader", "include", "image", "texture", "icon").
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "system/module.h"

namespace QZ {
namespace SYSTEM {

class Path_set {
public:
    explicit Path_set(const std::string& name);
    ~Path_set();

    const std::string& name() const { return name_; }
    // Null when the list at index is not set.
    const std::string* list(int index) const { return has_list_[index] ? &lists_[index] : nullptr; }
    uint32_t entry_count() const { return entry_count_; }

    void set_list(int index, const char* text);
    void recount();

private:
    std::string name_;
    std::string config_names_[3];
    std::string lists_[3];
    bool has_list_[3] = {false, false, false};
    uint32_t entry_count_ = 0;
};

class Mod_string : public Module {
public:
    static constexpr size_t EXPANSION_BUFFER = 1023;

    Mod_string();
    ~Mod_string() override;

    // Replaces list index (0 to 2) of the named set, creating the set if it is missing.
    void set_path(int index, const char* name, const char* text);
    const Path_set* find_path_set(const std::string& name) const;
    uint32_t get_entry_count(const char* name) const;

    // The entries of lists 0, 1, 2 in order, empty entries skipped, each expanded.
    std::vector<std::string> get_path_list(const char* name) const;

    // Replaces ${NAME}, $NAME, ${@NAME} and $@NAME by the environment's values.
    std::string expand(const char* text) const;

    // Finds file through the named path set; empty when not found or file is null.
    std::string resolve_file(const char* name, const char* file) const;

    // The same for a data file that the library needs: when it is not found, one warning per
    // file name and library life names it and the places looked in.
    std::string resolve_data_file(const char* name, const char* file);

    void clear_path_sets() { path_sets_.clear(); }

private:
    std::map<std::string, std::unique_ptr<Path_set>> path_sets_;
    std::set<std::string> missing_reported_;
    std::mutex missing_mutex_;
};

extern Mod_string* mod_string;

// A path that begins with a slash, a backslash, or a drive letter and a colon and a slash.
bool is_absolute_path(const char* path);

}  // namespace SYSTEM
}  // namespace QZ
