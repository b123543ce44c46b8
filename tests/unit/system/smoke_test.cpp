#include <gtest/gtest.h>

#include "system/module.h"

TEST(Module_table, compiler_tag_while_running)
{
    EXPECT_STREQ(QZ::SYSTEM::module_tag(55), "COMP");
}
