#include <gtest/gtest.h>

#include "runtime/Text.h"

namespace zeb {
namespace {

using namespace std::string_literals;

struct FieldCase {
  String source;
  String delimiter;
  std::int32_t fields;
  String firstField;
};

TEST(Text, CountFieldsAndTheFirstFieldAgree) {
  const String mark = "\nloginwindow\n";
  for (const FieldCase& c : {
           FieldCase{"aaaa", "aa", 3, ""},         // matches do not overlap
           FieldCase{"a\n\n\nb", "\n\n", 2, "a"},  // three line feeds hold one pair
           FieldCase{"\n\nabc", "\n\n", 2, ""},    // a leading match leaves field 1 empty
           FieldCase{"LOGINWINDOW", "loginwindow", 1, "LOGINWINDOW"},  // byte-exact
           FieldCase{"COMMAND\nloginwindow\nagent\n", mark, 2, "COMMAND"},
           FieldCase{"loginwindow\nagent\n", mark, 1, "loginwindow\nagent\n"},
           FieldCase{"COMMAND\nagent\nmy-agent-helper\n", "agent", 3, "COMMAND\n"},
           FieldCase{"ab"s + String(510, '\0'), "\n\n", 1, "ab"s + String(510, '\0')},
           FieldCase{"a\0b\0c"s, "\0"s, 3, "a"}, FieldCase{"", "x", 1, ""},
           FieldCase{"abc", "", 1, "abc"},  // an empty delimiter never matches
       }) {
    EXPECT_EQ(CountFields(c.source, c.delimiter), c.fields) << c.source;
    EXPECT_EQ(NthField(c.source, c.delimiter, 1), c.firstField) << c.source;
  }
}

TEST(Text, NthFieldOutsideTheFieldsIsEmpty) {
  EXPECT_EQ(NthField("a,b,c", ",", 3), "c");
  EXPECT_EQ(NthField("a,b,c", ",", 4), "");
  EXPECT_EQ(NthField("a,b,c", ",", 0), "");
  EXPECT_EQ(NthField("a,,c", ",", 2), "");
}

}  // namespace
}  // namespace zeb
