#include "front12/mod_front12.h"

#include <cstdio>
#include <string>

#include "log/mod_log.h"
#include "system/mod_string.h"

namespace QZ {
namespace FRONT12 {

Mod_front12* mod_front12 = nullptr;

Mod_front12::~Mod_front12() = default;

char* Mod_front12::read_source_file(const char* path)
{
    if (!path)
        return nullptr;
    std::string found = SYSTEM::mod_string->resolve_file("shader", path);
    std::FILE* file = found.empty() ? nullptr : std::fopen(found.c_str(), "rb");
    if (!file) {
        LOG::mod_log->error(SYSTEM::MODULE_CF12, LOG::CAT_PLUG, 0, "Unable to open source file: %s", path);
        return nullptr;
    }
    std::string text;
    char chunk[65536];
    size_t got;
    while ((got = std::fread(chunk, 1, sizeof chunk, file)) > 0)
        text.append(chunk, got);
    bool failed = std::ferror(file) != 0;
    std::fclose(file);
    if (failed) {
        LOG::mod_log->error(SYSTEM::MODULE_CF12, LOG::CAT_PLUG, 0, "Unable to open source file: %s", path);
        return nullptr;
    }
    char* block = new char[text.size() + 1];
    text.copy(block, text.size());
    block[text.size()] = '\0';
    return block;
}

SYNTAX_TREE::St_node* Mod_front12::parse(const char*, const char*, SYNTAX_TREE::Error_list*)
{
    // The parser arrives with the front end; until then no text yields a tree.
    return nullptr;
}

void start()
{
    if (!mod_front12)
        mod_front12 = new Mod_front12;
    mod_front12->state = SYSTEM::MODULE_RUNNING;
}

void stop()
{
    delete mod_front12;
    mod_front12 = nullptr;
}

}  // namespace FRONT12
}  // namespace QZ
