#include "Support/Text.h"

#include <gtest/gtest.h>

#include "Client/Units.h"
#include "Support/Json.h"
#include "Support/Saturated.h"

namespace zqm {
namespace {

TEST(Text, RepairsEachMaximalMalformedPrefixOnce) {
    for (const auto& [bytes, repaired] : std::initializer_list<std::pair<std::string_view, std::string_view>>{
             {"plain é 🇯🇵", "plain é 🇯🇵"},
             {"cut \xC3", "cut \xEF\xBF\xBD"},                          // two-byte character cut short
             {"\xE2\x82x", "\xEF\xBF\xBDx"},                            // three-byte character cut short
             {"\xC0\xAF", "\xEF\xBF\xBD\xEF\xBF\xBD"},                  // overlong solidus
             {"\xED\xA0\x80", "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},  // surrogate
             {"\xF4\x90\x80\x80", "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},  // past U+10FFFF
             {"a\xFFz", "a\xEF\xBF\xBDz"},
         }) {
        EXPECT_EQ(repairUtf8(bytes), repaired);
        EXPECT_EQ(isValidUtf8(bytes), bytes == repaired) << bytes;
    }
}

TEST(Text, TrimsOnlyTheEnds) {
    EXPECT_EQ(trimWhitespace(" \r\n\xE2\x80\xA8 a b \xC2\xA0\t\n"), "a b");
    EXPECT_EQ(trimWhitespace(" \n "), "");
    EXPECT_EQ(trimControlCharacters(std::string_view("\x01pmgr\0\0", 7)), "pmgr");
}

TEST(Text, ParsesWholeNumbersOrNothing) {
    EXPECT_EQ(parseInteger("-12"), -12);
    EXPECT_EQ(parseInteger("+7"), 7);
    EXPECT_EQ(parseUnsigned("18446744073709551615"), 18446744073709551615u);
    EXPECT_EQ(parseDouble("0.5"), 0.5);
    for (const char* text : {"", "+-1", "12x", " 1", "9223372036854775808"}) EXPECT_FALSE(parseInteger(text)) << text;
    for (const char* text : {"", "nan", "inf", "1e999", "1e-999", "1e", "0x1", "1,5"})
        EXPECT_FALSE(parseDouble(text)) << text;
}

TEST(Text, IsEscapedForJson) {
    std::string out;
    appendJsonString(out, "\b\t\n\f\r\x1F \"\\/\x7F\xFFé");
    appendJsonString(out, "/", true);
    EXPECT_EQ(out, "\"\\b\\t\\n\\f\\r\\u001f \\\"\\\\/\x7F\xEF\xBF\xBDé\"\"\\/\"");
}

TEST(Saturated, StaysAtTheBounds) {
    constexpr std::uint64_t most = ~std::uint64_t{0};
    EXPECT_EQ(addSaturated(most - 3, 1, 2), most);
    EXPECT_EQ(addSaturated(most - 3, 1, 3), most);
    EXPECT_EQ(multiplySaturated(most / 16, 16), most - 15);
    EXPECT_EQ(multiplySaturated(most / 16 + 1, 16), most);
    for (const auto& [number, integer] :
         {std::pair{0x1p63, INT64_MAX}, {-0x1.8p63, INT64_MIN}, {-0x1p63, INT64_MIN}, {-2.9, -2}, {NAN, 0}}) {
        EXPECT_EQ(integerSaturated(number), integer) << number;
    }
}

TEST(Units, AreWrittenAsPeopleReadThem) {
    for (const auto& [text, expected] : std::initializer_list<std::pair<std::string, std::string_view>>{
             {bytesText(1023.4), "1023 B"},
             {bytesText(1023.5), "1.00 KiB"},
             {bytesText(10'229), "9.99 KiB"},
             {bytesText(10'240), "10.0 KiB"},
             {bytesText(1023.5 * 1024), "1.00 MiB"},
             {bytesText(0x1p80), "1048576 EiB"},
             {rateText(999.4), "999 B/s"},
             {rateText(999.5), "1.00 kB/s"},
             {rateText(99'949), "99.9 kB/s"},
             {rateText(99'950), "100 kB/s"},
             {wattsText(9.994), "9.99 W"},
             {wattsText(-9.995), "-10.0 W"},
             {frequencyText(2500, FreqUnit::mhz) + frequencyText(2500, FreqUnit::ghz), "2500 MHz2.50 GHz"},
             {temperatureText(100, TempUnit::fahrenheit) + temperatureText(0, TempUnit::kelvin), "212 °F273 K"},
             {durationText(59) + durationText(60) + durationText(611), "0:591:0010:11"},
             {spanText(Seconds(119)) + spanText(Seconds(120)) + spanText(Seconds(7199)), "119 s2 min119 min"},
             {spanText(Seconds(7200)) + spanText(Seconds(10800)), "2 h3 h"}}) {
        EXPECT_EQ(text, expected);
    }
    SystemSnapshot sample;
    sample.timestamp = WallTime(Seconds(100));
    EXPECT_FALSE(ageIfOld(sample, Seconds(0.5), WallTime(Seconds(103)))) << "as with an interval of a second";
    EXPECT_EQ(ageIfOld(sample, Seconds(0.5), WallTime(Seconds(103.5))), Seconds(3.5));
}

TEST(Text, TakesPiecesOffTheFront) {
    std::string_view line = "  cpu0 12\t 7";
    for (const char* word : {"cpu0", "12", "7", ""}) EXPECT_EQ(takeWord(line), word);
    std::string_view lines = "a\n\nb";
    for (const char* piece : {"a", "", "b"}) EXPECT_EQ(takeUntil(lines, '\n'), piece);
    EXPECT_TRUE(lines.empty());
}

}  // namespace
}  // namespace zqm
