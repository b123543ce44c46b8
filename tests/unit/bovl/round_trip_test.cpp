// Every example, every valid program of the diagnostics suite and every valid input of the
// generator and host tests, saved to a binary file and loaded again: the tree prints alike,
// every node has its type again, and the FX and GL texts are the same bytes.
#include <gtest/gtest.h>

#include <dirent.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "back12/generated_shader.h"
#include "bovl/mod_bin_file.h"
#include "compiler/mod_compiler.h"
#include "support/test_support.h"
#include "syntax_tree/compilation_unit.h"
#include "syntax_tree/st_node.h"
#include "syntax_tree/tree_printer.h"
#include "trans12/mod_trans12.h"

using namespace QZ;
using SYNTAX_TREE::Compilation_unit;
using SYNTAX_TREE::St_node;

namespace {

const std::string data_dir = VORN_TEST_DATA_DIR;

std::vector<std::string> sources_in(const std::string& dir)
{
    std::vector<std::string> paths;
    if (DIR* handle = opendir(dir.c_str())) {
        while (dirent* entry = readdir(handle)) {
            std::string name = entry->d_name;
            if (name.size() > 4 && name.compare(name.size() - 4, 4, ".ovl") == 0)
                paths.push_back(dir + "/" + name);
        }
        closedir(handle);
    }
    std::sort(paths.begin(), paths.end());
    return paths;
}

// Kind, position, file and type of every node, in the written order.
std::string node_fields(const St_node* root)
{
    std::string out;
    std::vector<const St_node*> pending{root};
    while (!pending.empty()) {
        const St_node* node = pending.back();
        pending.pop_back();
        if (!node)
            continue;
        out += std::to_string(node->kind) + " " + std::to_string(node->type_index) + " " + node->file_name() + " " +
               std::to_string(node->line) + ":" + std::to_string(node->column) + ":" +
               std::to_string(node->extra_position) + "\n";
        pending.push_back(node->first_child);
        pending.push_back(node->next_sibling);
    }
    return out;
}

std::string generated(Compilation_unit& unit, const char* target, bool hlsl)
{
    COMPILER::Compile_options options;
    options.shader_type = COMPILER::SHADER_SURFACE;
    options.complete_program = 1;
    if (hlsl) {
        options.attributes["format"] = "HLSL";
        options.attributes["interfaces"] = "true";
    }
    std::unique_ptr<BACK12::Generated_shader> shader(COMPILER::mod_compiler->generate_shader(&unit, target, options));
    if (!shader)
        return "<none>";
    std::string text;
    for (uint32_t i = 0; i < shader->program_count(); ++i)
        text += *shader->program_text(i) + "\n<program end>\n";
    return text;
}

double fixed_time() { return 1700000000.0; }

struct Counts {
    int checked = 0;
    int with_text = 0;
    std::vector<std::string> skipped;
};

void check_round_trip(const std::string& path, const std::string& dir, Counts& counts)
{
    SCOPED_TRACE(path);
    SYNTAX_TREE::Error_list errors;
    std::unique_ptr<Compilation_unit> unit(COMPILER::mod_compiler->compile_file(path.c_str(), &errors));
    if (!unit || !errors.empty() || unit->error_count() > 0) {
        counts.skipped.push_back(path.substr(path.rfind('/') + 1));
        return;
    }
    ++counts.checked;
    std::string file = dir + "/unit.bovl";
    BOVL::mod_bin_file->set_clock(fixed_time);
    BOVL::mod_bin_file->save_binary(*unit, file.c_str());
    std::unique_ptr<Compilation_unit> loaded(TRANS12::mod_trans12->make_unit());
    {
        vorn_test::Log_capture capture;
        BOVL::mod_bin_file->load_binary(*loaded, file.c_str());
        COMPILER::mod_compiler->resolve_unit(*loaded);
        EXPECT_TRUE(capture.lines().empty()) << capture.lines()[0].text;
    }
    EXPECT_EQ(loaded->error_count(), 0u);
    EXPECT_EQ(SYNTAX_TREE::tree_text(loaded->tree()), SYNTAX_TREE::tree_text(unit->tree()));
    EXPECT_EQ(node_fields(loaded->tree()), node_fields(unit->tree()));
    EXPECT_EQ(loaded->type_count(), unit->type_count());
    EXPECT_EQ(loaded->shader_count(), unit->shader_count());
    EXPECT_EQ(loaded->function_count(), unit->function_count());
    EXPECT_EQ(loaded->named_type_count(), unit->named_type_count());
    EXPECT_EQ(loaded->import_count(), unit->import_count());

    // A copy of the unit is as good as the unit.
    Compilation_unit copy(*unit);
    for (const char* target : {"FX", "GL"}) {
        for (bool hlsl : {false, true}) {
            std::string original = generated(*unit, target, hlsl);
            EXPECT_EQ(generated(*loaded, target, hlsl), original) << target << (hlsl ? " HLSL" : "");
            EXPECT_EQ(generated(copy, target, hlsl), original) << target << " from the copy";
            counts.with_text += original != "<none>";
        }
    }

    // The loaded unit saves to the same bytes.
    std::string again = dir + "/again.bovl";
    BOVL::mod_bin_file->save_binary(*loaded, again.c_str());
    BOVL::mod_bin_file->set_clock(nullptr);
    EXPECT_EQ(vorn_test::read_file(again), vorn_test::read_file(file));
}

}  // namespace

TEST(Bin_file_round_trip, examples_and_valid_programs)
{
    std::string dir = vorn_test::make_temp_dir("round_trip");
    std::vector<std::string> paths = sources_in(data_dir + "/../../examples");
    size_t examples = paths.size();
    ASSERT_GE(examples, 5u);
    for (const char* sub : {"/diagnostics", "/gen", "/host", "/back12/input", "/parser"})
        for (const std::string& path : sources_in(data_dir + sub))
            paths.push_back(path);
    Counts counts;
    for (const std::string& path : paths)
        check_round_trip(path, dir, counts);
    // Every example compiles; so do the valid programs of the suites, at least 15 of them.
    EXPECT_GE(counts.checked, int(examples) + 15);
    std::string skipped;
    for (const std::string& name : counts.skipped)
        skipped += " " + name;
    std::printf("%d programs went through a binary file; not valid programs:%s\n", counts.checked, skipped.c_str());
    EXPECT_GE(counts.with_text, 4 * int(examples));
}
