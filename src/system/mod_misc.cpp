#include "system/mod_misc.h"

namespace QZ {
namespace SYSTEM {

Mod_prop* mod_prop = nullptr;
Mod_cmdline* mod_cmdline = nullptr;
Mod_antlr* mod_antlr = nullptr;
Mod_image* mod_image = nullptr;

namespace {

// One image file format. Ids are the free slots after IMG's own.
class Image_format_module : public Module {
public:
    Image_format_module(int32_t format_id, const char* format_tag) : Module(format_id, format_tag)
    {
        state = MODULE_RUNNING;
    }
};

struct Image_format {
    int32_t id;
    const char* tag;
};

// ORDER: start order; they stop in reverse.
const Image_format image_formats[Mod_image::FORMAT_COUNT] = {
    {38, "IEXR"}, {39, "IPNG"}, {40, "ITIF"}, {41, "IJPG"}, {44, "IDDS"}, {47, "IHDR"}, {48, "ITGA"},
};

}  // namespace

Mod_cmdline::Mod_cmdline(const std::vector<std::string>& arguments)
    : Module(MODULE_CMDL, "CMDL"), arguments_(arguments)
{
    // The option objects come first; the library consumes none of the (empty) arguments.
    options_.push_back(new Option{"-root", "installation root directory"});
    options_.push_back(new Option{"-conf", "configuration variable assignment group:name=value"});
}

Mod_cmdline::~Mod_cmdline()
{
    for (Option* option : options_)
        delete option;
    options_.clear();
}

Mod_image::Mod_image() : Module(MODULE_IMG, "IMG")
{
    for (int i = 0; i < FORMAT_COUNT; ++i)
        formats_[i] = new Image_format_module(image_formats[i].id, image_formats[i].tag);
}

Mod_image::~Mod_image()
{
    for (int i = FORMAT_COUNT; i-- > 0;) {
        delete formats_[i];
        formats_[i] = nullptr;
    }
}

}  // namespace SYSTEM
}  // namespace QZ
