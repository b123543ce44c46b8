// Unit tests run with the modules of the library started, as a host would have them.
#include <gtest/gtest.h>

#include "system/sequence.h"

namespace {

class Library_environment : public ::testing::Environment {
public:
    void SetUp() override { QZ::SYSTEM::start_sequence(); }
    void TearDown() override { QZ::SYSTEM::stop_sequence(); }
};

}  // namespace

int main(int argc, char** argv)
{
    ::testing::InitGoogleTest(&argc, argv);
    ::testing::AddGlobalTestEnvironment(new Library_environment);
    return RUN_ALL_TESTS();
}
