#include <gtest/gtest.h>
TEST(Host, placeholder) {}
