// Elements read through the handle and an in-process transaction, and the route that compiles a
// shader kept in the database.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "back12/generated_shader.h"
#include "compiler/mod_compiler.h"
#include "db/access.h"
#include "db/local_transaction.h"
#include "db/shader_elements.h"
#include "serial/memory_stream.h"
#include "support/test_support.h"
#include "syntax_tree/compilation_unit.h"

using namespace QZ;
using namespace QZ::DB;

namespace {

const char* const shader_text =
    "shader Glow { input: Color c = Color(1, 0.5, 0, 1); output: Color result;\n"
    "void main() { result = c * 2.0; } };\n";

// A transaction released at the end of the test.
struct Transaction_holder {
    Local_transaction* transaction = new Local_transaction;
    ~Transaction_holder() { transaction->release(); }
    Local_transaction* operator->() const { return transaction; }
};

std::string fx_text(BACK12::Generated_shader* shader)
{
    std::unique_ptr<BACK12::Generated_shader> owned(shader);
    return owned && owned->program_count() > 0 ? *owned->program_text(0) : std::string();
}

COMPILER::Compile_options surface()
{
    COMPILER::Compile_options options;
    options.shader_type = COMPILER::SHADER_SURFACE;
    options.complete_program = 1;
    return options;
}

}  // namespace

TEST(Database, handle_edge_cases)
{
    Transaction_holder db;
    Tag source = db->store(new Shader_source_element("ovl", shader_text), "glow_source");

    Access handle;
    EXPECT_EQ(handle.tag(), 0u);
    EXPECT_EQ(handle.set(0, db.transaction, _Src), nullptr);
    EXPECT_EQ(handle.info(), nullptr);

    Element_base* element = handle.set(source, db.transaction, _Src);
    ASSERT_NE(element, nullptr);
    EXPECT_NE(handle.info(), nullptr);
    EXPECT_EQ(db->pin_count(source), 1);
    EXPECT_STREQ(handle.element_as<Shader_source_element>()->language(), "ovl");
    // A second set unpins the held record before anything else, even with tag 0.
    EXPECT_EQ(handle.set(0, nullptr, _Src), nullptr);
    EXPECT_EQ(db->pin_count(source), 0);
    EXPECT_EQ(handle.transaction(), db.transaction);  // kept from before

    {
        vorn_test::Log_capture capture;
        Element_base* empty = handle.set(4711, nullptr, _Dcl);
        ASSERT_NE(empty, nullptr);
        EXPECT_EQ(handle.info(), nullptr);
        EXPECT_TRUE(empty->is_type_of(_Dcl));
        auto* declaration = dynamic_cast<Shader_declaration_element*>(empty);
        ASSERT_NE(declaration, nullptr);
        EXPECT_EQ(declaration->source_tag, 0u);
        EXPECT_EQ(declaration->unit_tag, 0u);
        EXPECT_TRUE(capture.contains("Access to invalid tag 4711"));
        handle.finish();  // destroys the temporary element
    }
    handle.set(source, nullptr, _Src);
    EXPECT_EQ(db->pin_count(source), 1);
    {
        Access other;
        other.set(source, db.transaction, _Src);
        EXPECT_EQ(db->pin_count(source), 2);
    }
    EXPECT_EQ(db->pin_count(source), 1);
    EXPECT_STREQ(db->get_tag_name(source), "glow_source");
    EXPECT_EQ(db->get_tag_name(999), nullptr);
    EXPECT_EQ(db->construct_empty(0x12345678), nullptr);
}

TEST(Database, class_ids_and_copies)
{
    SYNTAX_TREE::Error_list errors;
    std::unique_ptr<SYNTAX_TREE::Compilation_unit> unit(COMPILER::mod_compiler->compile_text("g.ovl", shader_text, &errors));
    ASSERT_TRUE(unit);
    Shader_declaration_element declaration(3, 4);
    Shader_source_element source("ovl", nullptr);
    for (const Element_base* element : {static_cast<const Element_base*>(unit.get()),
                                        static_cast<const Element_base*>(&declaration),
                                        static_cast<const Element_base*>(&source)})
        EXPECT_TRUE(element->is_type_of(0));
    EXPECT_TRUE(unit->is_type_of(_CoU));
    EXPECT_FALSE(unit->is_type_of(_Dcl));
    EXPECT_EQ(unit->get_class_id(), _CoU);
    EXPECT_EQ(unit->get_size(), sizeof(SYNTAX_TREE::Compilation_unit));

    // A copied unit is a unit of its own: the original may go.
    std::unique_ptr<Element_base> copy(unit->copy());
    auto* copied = dynamic_cast<SYNTAX_TREE::Compilation_unit*>(copy.get());
    ASSERT_NE(copied, nullptr);
    std::string expected = fx_text(COMPILER::mod_compiler->generate_shader(unit.get(), "FX", surface()));
    unit.reset();
    EXPECT_EQ(fx_text(COMPILER::mod_compiler->generate_shader(copied, "FX", surface())), expected);

    // The two shader elements write and read their fields; a missing text stays missing.
    SERIAL::Memory_serializer out;
    declaration.serialize(out);
    source.serialize(out);
    SERIAL::Memory_deserializer in(out.bytes());
    Shader_declaration_element declaration_back;
    Shader_source_element source_back("x", "y");
    declaration_back.deserialize(in);
    source_back.deserialize(in);
    EXPECT_EQ(declaration_back.source_tag, 3u);
    EXPECT_EQ(declaration_back.unit_tag, 4u);
    EXPECT_STREQ(source_back.language(), "ovl");
    EXPECT_EQ(source_back.text(), nullptr);
}

TEST(Database, route_compiles_an_ovl_source)
{
    Transaction_holder db;
    Tag source = db->store(new Shader_source_element("ovl", shader_text));
    Tag declaration = db->store(new Shader_declaration_element(source, 0), "glow");
    vorn_test::Log_capture capture;
    std::string text = fx_text(COMPILER::mod_compiler->convert_shader(declaration, db.transaction, "FX", surface()));
    EXPECT_NE(text.find("technique"), std::string::npos);
    EXPECT_TRUE(capture.contains("Converting Ovrel shader glow to FX"));
    EXPECT_EQ(db->pin_count(source), 0);
    EXPECT_EQ(db->pin_count(declaration), 0);

    // A compiled unit element is used as it is, without the source.
    SYNTAX_TREE::Error_list errors;
    auto* unit = COMPILER::mod_compiler->compile_text("glow.ovl", shader_text, &errors);
    Tag unit_tag = db->store(unit);
    Tag compiled = db->store(new Shader_declaration_element(0, unit_tag), "compiled");
    EXPECT_EQ(fx_text(COMPILER::mod_compiler->convert_shader(compiled, db.transaction, "FX", surface())), text);
    EXPECT_EQ(db->pin_count(unit_tag), 0);
    // A unit tag the database does not know falls back to the source.
    Tag dangling = db->store(new Shader_declaration_element(source, 9999), "dangling");
    EXPECT_EQ(fx_text(COMPILER::mod_compiler->convert_shader(dangling, db.transaction, "FX", surface())), text);
}

TEST(Database, route_refusals_and_their_messages)
{
    Transaction_holder db;
    Tag hlsl = db->store(new Shader_source_element("hlsl", shader_text));
    Tag no_word = db->store(new Shader_source_element(nullptr, shader_text));
    Tag no_text = db->store(new Shader_source_element("ovl", nullptr));
    Tag broken = db->store(new Shader_source_element("ovl", "shader { oops"));
    Tag wrong = db->store(new Shader_source_element("ovl", "shader S { output: Color r; void main() { r = q; } };"));
    struct Case {
        const char* name;
        Tag source;
        int32_t code;
        const char* text;
    } cases[] = {
        {"other", hlsl, 5, "only .ovl files supported in current render mode: other.hlsl"},
        {"unsaid", no_word, 5, "only .ovl files supported in current render mode: unsaid."},
        {"empty", no_text, 0, nullptr},
        {"broken", broken, 1, "errors were encountered in file: broken.ovl"},
        {"wrong", wrong, 1, "Error in file 'wrong' line 1: unknown variable: \"q\""},
        {"nothing", 0, 0, nullptr},
        {"missing", 4242, 0, "Access to invalid tag 4242"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Tag declaration = db->store(new Shader_declaration_element(c.source, 0), c.name);
        vorn_test::Log_capture capture;
        EXPECT_EQ(COMPILER::mod_compiler->make_unit_from_declaration(declaration, db.transaction), nullptr);
        if (c.text) {
            EXPECT_TRUE(capture.contains(c.text)) << (capture.lines().empty() ? "" : capture.lines()[0].text);
        }
        for (const auto& line : capture.lines()) {
            if (line.module == SYSTEM::MODULE_CL12) {
                EXPECT_EQ(line.code, c.code);
            }
        }
        EXPECT_EQ(COMPILER::mod_compiler->convert_shader(declaration, db.transaction, "FX", surface()), nullptr);
    }
    EXPECT_EQ(COMPILER::mod_compiler->make_unit_from_declaration(0, db.transaction), nullptr);
    EXPECT_EQ(COMPILER::mod_compiler->make_unit_from_declaration(1, nullptr), nullptr);
    EXPECT_EQ(COMPILER::mod_compiler->convert_shader(1, nullptr, "FX", surface()), nullptr);
    // A declaration that the database does not have: an empty one, with no source.
    vorn_test::Log_capture capture;
    EXPECT_EQ(COMPILER::mod_compiler->convert_shader(777, db.transaction, "FX", surface()), nullptr);
    EXPECT_TRUE(capture.contains("Access to invalid tag 777"));
}
