// One generator plug-in, loaded by the tests after the first compile: the dispatch has scanned
// the registry by then and must not see it.
#include "vorn/vorn_generator.h"

namespace {

class Late_plugin : public vorn::IGenerator_plugin {
public:
    const char* get_name() override { return "Test_late_generator"; }
    const char* get_target_name() override { return "Late"; }
    int32_t get_code_type() override { return 0; }
    vorn::IGenerator* create_generator(vorn::ICompilation_unit*, vorn::ICompiler_options*) override { return nullptr; }
};

}  // namespace

extern "C" __attribute__((visibility("default"))) vorn::Plugin_base* initializer(uint32_t index, void*)
{
    return index == 0 ? new Late_plugin : nullptr;
}
