// Generator plug-ins as an outside author writes them, against the public header only: a
// hardware target, a software target, one that reports an unknown code type, one that claims
// the built-in name "FX", and a plug-in of another kind that the dispatch must pass over.
#include <stdio.h>
#include <string.h>

#include <string>
#include <vector>

#include "vorn/vorn_generator.h"

namespace {

int live_objects = 0;

struct Program {
    std::string entry;
    std::string text;
};

class Result final : public vorn::IGenerator_result {
public:
    Result(const char* target, std::vector<Program> programs) : target_(target), programs_(std::move(programs))
    {
        ++live_objects;
    }
    void release() override
    {
        --live_objects;
        delete this;
    }
    const char* get_target() override { return target_.c_str(); }
    uint32_t get_count() override { return uint32_t(programs_.size()); }
    const char* get_entry(uint32_t index) override
    {
        return index < programs_.size() ? programs_[index].entry.c_str() : nullptr;
    }
    uint32_t get_size(uint32_t index) override
    {
        return index < programs_.size() ? uint32_t(programs_[index].text.size()) : 0;
    }
    void get_text(uint32_t index, char* buffer, uint32_t size) override
    {
        if (index >= programs_.size() || size == 0)
            return;
        snprintf(buffer, size, "%s", programs_[index].text.c_str());
    }

private:
    ~Result() = default;
    std::string target_;
    std::vector<Program> programs_;
};

// Describes what it was lent, so the tests can see the log, unit and options arrive.
std::string describe(vorn::ICompilation_unit* unit, vorn::ICompiler_options* options)
{
    std::string text = "shaders=" + std::to_string(unit ? unit->get_shader_count() : 0u);
    if (unit && unit->get_shader_count() > 0)
        text += " first=" + std::string(unit->get_shader_name(0));
    const char* greeting = options ? options->get_option("greeting") : nullptr;
    text += " greeting=" + std::string(greeting ? greeting : "(none)");
    const char* type = options ? options->get_option("shader_type") : nullptr;
    text += " type=" + std::string(type ? type : "(none)");
    return text;
}

class Generator final : public vorn::IGenerator {
public:
    Generator(const char* target, int kind) : target_(target), kind_(kind) { ++live_objects; }
    void release() override
    {
        --live_objects;
        delete this;
    }
    vorn::IGenerator_result* generate(vorn::ILog* log, vorn::ICompilation_unit* unit,
                                      vorn::ICompiler_options* options) override
    {
        if (log)
            log->info("test generator %s runs", target_);
        if (options && options->option_equals("fail", "true"))
            return nullptr;
        std::string about = describe(unit, options);
        if (kind_ == 1)
            return new Result("Soft_result", {{"shader.cpp", "// C++ " + about}, {"shader.h", "// header"},
                                              {"empty", ""}});
        return new Result(target_, {{"vs_main", "vertex " + about}, {"ps_main", "fragment " + about}});
    }

private:
    ~Generator() = default;
    const char* target_;
    int kind_;
};

class Generator_plugin : public vorn::IGenerator_plugin {
public:
    Generator_plugin(const char* name, const char* target, int32_t code_type)
        : name_(name), target_(target), code_type_(code_type)
    {
        ++live_objects;
    }
    ~Generator_plugin() override { --live_objects; }
    const char* get_name() override { return name_; }
    int32_t get_version() override { return 7; }
    const char* get_target_name() override { return target_; }
    int32_t get_code_type() override { return code_type_; }
    vorn::IGenerator* create_generator(vorn::ICompilation_unit*, vorn::ICompiler_options*) override
    {
        return new Generator(target_, code_type_);
    }

private:
    const char* name_;
    const char* target_;
    int32_t code_type_;
};

class Other_plugin : public vorn::Plugin_base {
public:
    const char* get_name() override { return "Test_other_plugin"; }
    const char* get_type() override { return "Some_other_kind"; }
};

}  // namespace

extern "C" __attribute__((visibility("default"))) vorn::Plugin_base* initializer(uint32_t index, void*)
{
    switch (index) {
    case 0:
        return new Generator_plugin("Test_hardware_generator", "Hard", 0);
    case 1:
        return new Other_plugin;
    case 2:
        return new Generator_plugin("Test_software_generator", "Soft", 1);
    case 3:
        return new Generator_plugin("Test_bad_code_generator", "Bad", 2);
    case 4:
        return new Generator_plugin("Test_fx_generator", "FX", 0);
    case 5:
        // A second plug-in of a taken target: the first in list order answers.
        return new Generator_plugin("Test_second_hardware_generator", "Hard", 0);
    }
    return nullptr;
}

extern "C" __attribute__((visibility("default"))) int test_generator_live_objects() { return live_objects; }
