// Site set-up: the default search paths and the installation root.
#pragma once

#include <string>

#include "system/module.h"

namespace QZ {
namespace SYSTEM {

class Mod_site : public Module {
public:
    Mod_site();

    const std::string& root() const { return root_; }

private:
    std::string root_;
};

extern Mod_site* mod_site;

// The data files shipped with the library: shaders/ beside it in a build tree, else the installed
// data directory relative to it.
std::string library_data_directory();

}  // namespace SYSTEM
}  // namespace QZ
