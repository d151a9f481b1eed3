#include <gtest/gtest.h>

#include "runtime/FileType.h"
#include "runtime/FileTypeRegistry.h"

namespace zeb {
namespace {

class FileTypeTest : public testing::Test {
 protected:
  void SetUp() override { RuntimeFileTypes() = FileTypeRegistry{}; }
  const FileTypeRegistry& registry = RuntimeFileTypes();
};

TEST_F(FileTypeTest, ConversionRegistersOnceAndDestructionWithdraws) {
  {
    FileType type;
    type.Name("text");
    type.MacCreator("R*ch");
    EXPECT_EQ(registry.withdrawals, 0);  // nothing registered yet, nothing to withdraw
    EXPECT_EQ(static_cast<String>(type), "text");
    EXPECT_EQ(static_cast<String>(type), "text");
    EXPECT_EQ(registry.registrations, 1);
    EXPECT_EQ(registry.entries, (std::vector<FileTypeRecord>{{"text", "R*ch", "", ""}}));
  }
  EXPECT_EQ(registry.withdrawals, 1);
  EXPECT_TRUE(registry.entries.empty());
}

TEST_F(FileTypeTest, EverySetterWithdrawsARegisteredType) {
  using Setter = void (*)(FileType&);
  for (const Setter set : {Setter{[](FileType& t) { t.Name("other"); }},
                           Setter{[](FileType& t) { t.MacCreator("other"); }},
                           Setter{[](FileType& t) { t.MacType("other"); }},
                           Setter{[](FileType& t) { t.Extensions("other"); }}}) {
    RuntimeFileTypes() = FileTypeRegistry{};
    FileType type;
    type.Name("text");
    type.Register();
    set(type);
    EXPECT_EQ(registry.withdrawals, 1);
    EXPECT_TRUE(registry.entries.empty());
  }
}

}  // namespace
}  // namespace zeb
