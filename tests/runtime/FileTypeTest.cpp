#include <gtest/gtest.h>

#include "runtime/FileType.h"
#include "runtime/FileTypeRegistry.h"

namespace zeb {
namespace {

using Setter = void (*)(FileType&);

// Registered by conversion, once; withdrawn by any setter and by destruction.
TEST(FileType, RegistrationFollowsConversionSettersAndDestruction) {
  const FileTypeRegistry& registry = RuntimeFileTypes();
  for (const Setter set : {Setter{[](FileType& t) { t.Name("other"); }},
                           Setter{[](FileType& t) { t.MacCreator("other"); }},
                           Setter{[](FileType& t) { t.MacType("other"); }},
                           Setter{[](FileType& t) { t.Extensions("other"); }}}) {
    RuntimeFileTypes() = FileTypeRegistry{};
    {
      FileType type;
      type.Name("text");
      type.MacCreator("R*ch");
      EXPECT_EQ(static_cast<String>(type), "text");
      EXPECT_EQ(static_cast<String>(type), "text");
      EXPECT_EQ(registry.entries, (std::vector<FileTypeRecord>{{"text", "R*ch", "", ""}}));
      set(type);
      EXPECT_TRUE(registry.entries.empty());
      static_cast<void>(static_cast<String>(type));  // registered again
    }
    EXPECT_EQ(registry.registrations, 2);
    EXPECT_EQ(registry.withdrawals, 2);
    EXPECT_TRUE(registry.entries.empty());
  }
}

}  // namespace
}  // namespace zeb
