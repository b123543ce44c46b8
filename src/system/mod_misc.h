// Modules that hold a place in the start and stop sequences but do no work on the compile path.
#pragma once

#include <string>
#include <vector>

#include "system/module.h"

namespace QZ {
namespace SYSTEM {

// Property classes. Its second stage, after the database exists, is not reached by the compiler.
class Mod_prop : public Module {
public:
    Mod_prop() : Module(MODULE_PROP, "PROP") {}
};

// Command-line options: the library is started with an empty argument vector.
class Mod_cmdline : public Module {
public:
    explicit Mod_cmdline(const std::vector<std::string>& arguments);
    ~Mod_cmdline() override;

    size_t option_count() const { return options_.size(); }
    const std::vector<std::string>& arguments() const { return arguments_; }

private:
    struct Option {
        std::string name;
        std::string description;
    };
    std::vector<Option*> options_;
    std::vector<std::string> arguments_;
};

// Holds the parser runtime's global state.
class Mod_antlr : public Module {
public:
    Mod_antlr() : Module(MODULE_ANTL, "ANTL") {}
};

// Image input and output, with one module per file format.
class Mod_image : public Module {
public:
    static constexpr int FORMAT_COUNT = 7;
    Mod_image();
    ~Mod_image() override;

private:
    Module* formats_[FORMAT_COUNT];
};

extern Mod_prop* mod_prop;
extern Mod_cmdline* mod_cmdline;
extern Mod_antlr* mod_antlr;
extern Mod_image* mod_image;

}  // namespace SYSTEM
}  // namespace QZ
