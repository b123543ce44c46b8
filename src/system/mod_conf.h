// Named configuration variables, by group and name, each bound to a field of its owner.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>

#include "system/module.h"

namespace QZ {
namespace SYSTEM {

class Mod_conf : public Module {
public:
    enum Kind { NUMBER, TEXT };

    struct Variable {
        int32_t group;
        std::string name;
        std::string description;
        Kind kind;
        uint32_t* number;   // bound field when kind is NUMBER
        std::string* text;  // bound field when kind is TEXT
        bool* text_set;     // optional: whether the text field holds a value
    };

    explicit Mod_conf(const char* argument);

    // Registers (or re-binds) a variable. A variable of the same group and name is replaced.
    void register_number(int32_t group, const std::string& name, const std::string& description,
                         uint32_t* field);
    void register_text(int32_t group, const std::string& name, const std::string& description,
                       std::string* field, bool* is_set = nullptr);
    void unregister(int32_t group, const std::string& name);

    const Variable* find(int32_t group, const std::string& name) const;
    size_t variable_count() const { return variables_.size(); }

    // Writes a value into the bound field. Numbers are read in decimal, hex (0x) or octal (0).
    // Returns false if the variable is unknown or the number does not parse.
    bool set(int32_t group, const std::string& name, const std::string& value);

    // The installation root: option "-root", else environment QZ_ROOT, else empty.
    const std::string& root() const { return root_; }
    void set_root(const std::string& root) { root_ = root; }

private:
    std::map<std::pair<int32_t, std::string>, Variable> variables_;
    std::string root_;
};

extern Mod_conf* mod_conf;

}  // namespace SYSTEM
}  // namespace QZ
