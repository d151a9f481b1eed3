#include <gtest/gtest.h>

#include "runtime/Text.h"

namespace zeb {
namespace {

using namespace std::string_literals;

const String kSessionMark = "\nloginwindow\n";

struct FieldCase {
  const char* name;
  String source;
  String delimiter;
  std::int32_t fields;
  String firstField;
};

void PrintTo(const FieldCase& c, std::ostream* out) { *out << c.name; }

class Fields : public testing::TestWithParam<FieldCase> {};

TEST_P(Fields, CountAndFirstFieldAgree) {
  const FieldCase& c = GetParam();
  EXPECT_EQ(CountFields(c.source, c.delimiter), c.fields);
  EXPECT_EQ(NthField(c.source, c.delimiter, 1), c.firstField);
}

INSTANTIATE_TEST_SUITE_P(
    Text, Fields,
    testing::Values(FieldCase{"NameAtFirstAndLastLine", "agent\nx\nagent", "agent", 3, ""},
                    FieldCase{"NameOnce", "COMMAND\nagent\nx\n", "agent", 2, "COMMAND\n"},
                    FieldCase{"NameInsideLongerName", "COMMAND\nagent\nmy-agent-helper\n", "agent",
                              3, "COMMAND\n"},
                    FieldCase{"MatchesDoNotOverlap", "aaaa", "aa", 3, ""},
                    FieldCase{"OddRunLeavesRest", "aaa", "aa", 2, ""},
                    FieldCase{"MatchIsByteExact", "LOGINWINDOW", "loginwindow", 1, "LOGINWINDOW"},
                    FieldCase{"SessionMarkFramed", "COMMAND\nloginwindow\nagent\n", kSessionMark, 2,
                              "COMMAND"},
                    FieldCase{"SessionMarkNoLineFeedBefore", "loginwindow\nagent\n", kSessionMark,
                              1, "loginwindow\nagent\n"},
                    FieldCase{"SessionMarkNoLineFeedAfter", "COMMAND\nloginwindow", kSessionMark, 1,
                              "COMMAND\nloginwindow"},
                    FieldCase{"SessionMarkLongerName", "COMMAND\nloginwindowd\n", kSessionMark, 1,
                              "COMMAND\nloginwindowd\n"},
                    FieldCase{"SessionMarkIndented", "COMMAND\n loginwindow\n", kSessionMark, 1,
                              "COMMAND\n loginwindow\n"},
                    FieldCase{"EmptyLineCutsText", "abc\n\ndef", "\n\n", 2, "abc"},
                    FieldCase{"NoEmptyLineKeepsAll", "abc", "\n\n", 1, "abc"},
                    FieldCase{"LeadingEmptyLineGivesNothing", "\n\nabc", "\n\n", 2, ""},
                    FieldCase{"ZeroBytesAreOrdinary", "ab"s + String(510, '\0'), "\n\n", 1,
                              "ab"s + String(510, '\0')},
                    FieldCase{"ZeroByteDelimiter", "a\0b\0c"s, "\0"s, 3, "a"},
                    FieldCase{"ThreeLineFeedsHoldOnePair", "a\n\n\nb", "\n\n", 2, "a"},
                    FieldCase{"EmptySource", "", "x", 1, ""},
                    FieldCase{"EmptyDelimiterNeverMatches", "abc", "", 1, "abc"}),
    [](const testing::TestParamInfo<FieldCase>& param) { return param.param.name; });

TEST(Text, NthFieldBeyondTheFieldsIsEmpty) {
  EXPECT_EQ(NthField("a,b,c", ",", 3), "c");
  EXPECT_EQ(NthField("a,b,c", ",", 4), "");
  EXPECT_EQ(NthField("a,b,c", ",", 0), "");
  EXPECT_EQ(NthField("a,,c", ",", 2), "");
}

TEST(Text, ChrGivesOneCharacter) {
  EXPECT_EQ(Chr(10), "\n");
  EXPECT_EQ(Chr(0), "\0"s);
  EXPECT_EQ(Chr(0xE9), "\xC3\xA9");
  EXPECT_EQ(Chr(-1), "");
  EXPECT_EQ(Chr(10) + "loginwindow" + Chr(10), kSessionMark);
}

}  // namespace
}  // namespace zeb
