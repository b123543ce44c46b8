#include <gtest/gtest.h>
#include <cstdio>
#include "passes_support.h"
#include "support/test_support.h"
TEST(PassesScratch, Try)
{
    std::string text = vorn_test::read_file("/tmp/scratch-passes/in.ovl");
    auto c = passes_test::compile(text, "in.ovl");
    for (auto& m : c.messages) printf("%s\n", m.c_str());
}
