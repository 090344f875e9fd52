#include "foundation/text_helpers.h"

#include <array>
#include <cstring>

#include <gtest/gtest.h>

namespace {

constexpr std::uint64_t kOwnLength = 0xFFFFFFFFu;

std::string Decoded(const std::string& source) {
    std::string target = "what was there before";
    Base64Decode(source, target);
    return target;
}

// The value that a zeroed target of size characters holds afterwards; the result of the call in *found.
std::wstring CommandLineValue(const wchar_t* text, const wchar_t* key, std::size_t size = 64, int* found = nullptr) {
    std::vector<wchar_t> target(size + 1, L'\0');
    const int result = GetCommandLineValue(text, key, target.data(), size);
    if (found != nullptr) {
        *found = result;
    }
    return target.data();
}

std::vector<std::wstring> Parts(const std::wstring& text, const std::vector<std::wstring>& delimiters) {
    std::vector<std::wstring> parts;
    const std::size_t count = SplitByDelimiters(text, delimiters, parts);
    EXPECT_EQ(count, parts.size());
    return parts;
}

using List = std::vector<std::wstring>;

TEST(UrlEscape, ABlankBetweenLettersBecomesPlusAndTheLettersStay) {
    EXPECT_EQ(UrlEscapeString("a b"), "a+b");
    EXPECT_EQ(UrlEscapeString("azAZ09"), "azAZ09");
}

TEST(UrlEscape, EachByteAbove7FBecomesTwoUpperCaseDigits) {
    EXPECT_EQ(UrlEscapeString("中"), "%E4%B8%AD");
    EXPECT_EQ(UrlEscapeString("\x80\xFF"), "%80%FF");
}

TEST(UrlEscape, EveryMarkIsEscapedAlsoTheUsuallySafeOnes) {
    EXPECT_EQ(UrlEscapeString("-_.~"), "%2D%5F%2E%7E");
    EXPECT_EQ(UrlEscapeString("+%&=/?\x01\x7F"), "%2B%25%26%3D%2F%3F%01%7F");
    EXPECT_EQ(UrlEscapeString(std::string("a\0b", 3)), "a%00b");
}

TEST(UrlEscape, AnEmptyTextEscapesToAnEmptyText) {
    EXPECT_EQ(UrlEscapeString(""), "");
}

TEST(UrlEscape, MeasuringCountsTheTerminatorAndLeavesTheTargetAlone) {
    char target[] = "untouched";
    EXPECT_EQ(UrlEscape("", 0, target, 0), 1);
    EXPECT_EQ(UrlEscape("a b~", 4, target, 0), 7);
    EXPECT_EQ(UrlEscape("a b~ and more", 4, target, 0), 7);
    EXPECT_EQ(UrlEscape("a b~", 4, nullptr, 0), 7);
    EXPECT_STREQ(target, "untouched");
}

TEST(UrlEscape, EachByteIsMeasuredAnywhere) {
    // Lengths around multiples of 4, one byte that becomes three at each place.
    for (std::size_t length = 1; length <= 13; ++length) {
        const std::string letters(length, 'a');
        EXPECT_EQ(UrlEscape(letters.data(), length, nullptr, 0), static_cast<int>(length + 1));
        for (std::size_t at = 0; at < length; ++at) {
            std::string text = letters;
            text[at] = '%';
            EXPECT_EQ(UrlEscape(text.data(), length, nullptr, 0), static_cast<int>(length + 3)) << length << " " << at;
            EXPECT_EQ(UrlEscapeString(text).size(), length + 2) << length << " " << at;
        }
    }
}

TEST(UrlEscape, TheTextInTheTargetEndsWhereItsLastPieceEnds) {
    char target[] = "what was here before";
    EXPECT_EQ(UrlEscape("a-", 2, target, sizeof(target)), 4);
    EXPECT_STREQ(target, "a%2D");
}

TEST(UrlEscape, AFirstPieceThatDoesNotFitGivesTheLengthOfWhatTheTargetHolds) {
    char target[] = "stays";
    EXPECT_EQ(UrlEscape("-", 1, target, 3), 5);
    EXPECT_STREQ(target, "stays");
    EXPECT_EQ(UrlEscape("a", 1, target, 1), 5);
    EXPECT_STREQ(target, "stays");
}

TEST(UrlEscape, ALengthBeyondTheMarkerMeansTheTextsOwnLength) {
    char target[32] = {};
    EXPECT_EQ(UrlEscape("a b", kOwnLength, target, 0), 4);
    EXPECT_EQ(UrlEscape("a b", kOwnLength, target, sizeof(target)), 3);
    EXPECT_STREQ(target, "a+b");
    EXPECT_EQ(UrlEscape("a b", ~std::uint64_t{0}, nullptr, 0), 4);
}

TEST(UrlEscape, AnEmptySourceGivesTheLengthOfWhatTheTargetHolds) {
    char target[16] = "stays";
    EXPECT_EQ(UrlEscape("ignored", 0, target, sizeof(target)), 5);
    EXPECT_EQ(UrlEscape("", kOwnLength, target, sizeof(target)), 5);
    EXPECT_STREQ(target, "stays");
}

TEST(UrlEscape, ATargetTooSmallForTheNextPieceEndsBeforeIt) {
    // "ab%2Dc" and its terminator need seven bytes.
    const std::array<const char*, 9> expected = {nullptr, "", "a", "ab", "ab", "ab", "ab%2D", "ab%2Dc", "ab%2Dc"};
    for (std::size_t size = 1; size < expected.size(); ++size) {
        std::vector<char> target(size, '\0');
        EXPECT_EQ(UrlEscape("ab-c", 4, target.data(), size), static_cast<int>(std::strlen(expected[size]))) << size;
        EXPECT_STREQ(target.data(), expected[size]) << size;
    }
}

TEST(UrlEscape, StopsForGoodAtThePieceThatDoesNotFit) {
    char target[4] = {};
    EXPECT_EQ(UrlEscape("a-bc", 4, target, sizeof(target)), 1) << "letters after it would still fit";
    EXPECT_STREQ(target, "a");
}

TEST(Base64, DecodesEveryLengthOfTail) {
    EXPECT_EQ(Decoded(""), "");
    EXPECT_EQ(Decoded("SGVsbG8="), "Hello");
    EXPECT_EQ(Decoded("SGVsbG8h"), "Hello!");
    EXPECT_EQ(Decoded("SGVsbA=="), "Hell");
    EXPECT_EQ(Decoded("AAECA//+"), std::string("\0\1\2\3\xFF\xFE", 6));
}

TEST(Base64, LineBreaksAndOtherStrangersAreSkipped) {
    EXPECT_EQ(Decoded("SGVs\r\nbG8h\r\n"), "Hello!");
    EXPECT_EQ(Decoded("S G-V_s*b\tG\x80"
                      "8\xFFh"),
              "Hello!");
    EXPECT_EQ(Decoded("\r\n"), "");
}

TEST(Base64, EndsAtTheFirstEqualsSignAlsoWhenMoreFollows) {
    EXPECT_EQ(Decoded("SGVs=bG8h"), "Hel");
    EXPECT_EQ(Decoded("=SGVs"), "");
}

TEST(Base64, EndsAtANul) {
    EXPECT_EQ(Decoded(std::string("SGVs\0bG8h", 9)), "Hel");
    EXPECT_EQ(Decoded(std::string("SGVsb\0G8h", 9)), "Hel");
}

TEST(Base64, ASourceThatEndsEarlyGivesTheBytesCompletedSoFar) {
    EXPECT_EQ(Decoded("S"), "");
    EXPECT_EQ(Decoded("SG"), "H");
    EXPECT_EQ(Decoded("SGV"), "He");
    EXPECT_EQ(Decoded("SGVsbG8"), "Hello");
}

TEST(Base64, SourceAndTargetMayBeTheSame) {
    std::string text = "SGVsbG8=";
    Base64Decode(text, text);
    EXPECT_EQ(text, "Hello");
}

TEST(CommandLine, TakesTheValueUpToTheNextBlank) {
    EXPECT_EQ(CommandLineValue(L"x.exe /from:mark /type:1", L"/from:"), L"mark");
    EXPECT_EQ(CommandLineValue(L"x.exe /from:mark /type:1", L"/type:"), L"1");
    EXPECT_EQ(CommandLineValue(L"x.exe /from: /type:1", L"/from:"), L"");
    EXPECT_EQ(CommandLineValue(L"x.exe /from:", L"/from:"), L"");
    EXPECT_EQ(CommandLineValue(L"/from:a\tb c", L"/from:"), L"a\tb");
    EXPECT_EQ(CommandLineValue(L"/from:a\"b c\"", L"/from:"), L"a\"b") << "a mark inside does not quote";
}

TEST(CommandLine, AMissingKeyLeavesTheTargetAsItIs) {
    wchar_t target[] = L"stays";
    EXPECT_EQ(GetCommandLineValue(L"x.exe /type:1", L"/from:", target, std::size(target)), 0);
    EXPECT_EQ(GetCommandLineValue(L"", L"/from:", target, std::size(target)), 0);
    EXPECT_STREQ(target, L"stays");
}

TEST(CommandLine, FindsTheKeyInsideALongerWord) {
    EXPECT_EQ(CommandLineValue(L"x.exe no/from:inside", L"/from:"), L"inside");
    EXPECT_EQ(CommandLineValue(L"/from:first /from:second", L"/from:"), L"first");
}

TEST(CommandLine, TheKeyIsComparedWithItsCase) {
    int found = -1;
    CommandLineValue(L"/FROM:x", L"/from:", 64, &found);
    EXPECT_EQ(found, 0);
}

TEST(CommandLine, AQuotedValueGoesToTheNextMark) {
    EXPECT_EQ(CommandLineValue(L"/from:\"a b\"c /type:1", L"/from:"), L"a b");
    EXPECT_EQ(CommandLineValue(L"/from:\"\" /type:1", L"/from:"), L"");
}

TEST(CommandLine, AnOpenQuotationGoesToTheNextBlankOrTheEnd) {
    EXPECT_EQ(CommandLineValue(L"/from:\"a b", L"/from:"), L"a");
    EXPECT_EQ(CommandLineValue(L"/from:\"abc", L"/from:"), L"abc");
    EXPECT_EQ(CommandLineValue(L"/from:\"", L"/from:"), L"");
}

TEST(CommandLine, AValueTooLongForTheTargetIsCut) {
    int found = 0;
    EXPECT_EQ(CommandLineValue(L"/from:abcdef", L"/from:", 4, &found), L"abc");
    EXPECT_EQ(found, 1);
    EXPECT_EQ(CommandLineValue(L"/from:abc", L"/from:", 4), L"abc");
    EXPECT_EQ(CommandLineValue(L"/from:abc", L"/from:", 1), L"");
    EXPECT_EQ(CommandLineValue(L"/from:abc", L"/from:", 0, &found), L"");
    EXPECT_EQ(found, 1);
}

TEST(CommandLine, TheCopyGetsNoTerminatorOfItsOwn) {
    wchar_t target[] = L"~~~~";
    EXPECT_EQ(GetCommandLineValue(L"/from:ab", L"/from:", target, std::size(target)), 1);
    EXPECT_STREQ(target, L"ab~~");
}

TEST(Split, AVersionGivesItsFourParts) {
    EXPECT_EQ(Parts(L"1.0.345.0", {L"."}), (List{L"1", L"0", L"345", L"0"}));
    EXPECT_EQ(Parts(L"a|b,c.d", {L".", L"|", L","}), (List{L"a", L"b", L"c", L"d"}));
    EXPECT_EQ(Parts(L"whole", {L"."}), (List{L"whole"}));
    EXPECT_EQ(Parts(L"whole", {}), (List{L"whole"}));
}

TEST(Split, AdjacentDelimitersGiveNoEmptyParts) {
    EXPECT_EQ(Parts(L"..1...2..", {L"."}), (List{L"1", L"2"}));
    EXPECT_EQ(Parts(L"...", {L"."}), List{});
}

TEST(Split, AnEmptyTextGivesNoParts) {
    EXPECT_EQ(Parts(L"", {L"."}), List{});
}

TEST(Split, AnEmptyDelimiterIsNeverFound) {
    EXPECT_EQ(Parts(L"a.b", {L"", L"."}), (List{L"a", L"b"}));
    EXPECT_EQ(Parts(L"a.b", {L""}), (List{L"a.b"}));
}

TEST(Split, TheLongestDelimiterFoundIsSkippedAlsoWhenAShorterOneIsNearer) {
    EXPECT_EQ(Parts(L"a,bcd--e", {L",", L"--"}), (List{L"a", L"cd", L"e"})) << "two characters skipped at the comma";
    EXPECT_EQ(Parts(L"a,bcd--e", {L"--", L","}), (List{L"a", L"cd", L"e"})) << "whatever the order";
    EXPECT_EQ(Parts(L"a--b,c", {L"--", L","}), (List{L"a", L"b", L"c"}));
    EXPECT_EQ(Parts(L"a,x----", {L",", L"----"}), (List{L"a", L"--"})) << "into the middle of the other one";
    EXPECT_EQ(Parts(L"a,----", {L",", L"----"}), (List{L"a", L"-"}));
}

TEST(Split, PartsAreAddedAfterThoseAlreadyThere) {
    List parts = {L"first"};
    EXPECT_EQ(SplitByDelimiters(L"a.b", {L"."}, parts), 3u);
    EXPECT_EQ(parts, (List{L"first", L"a", L"b"}));
}

TEST(TextConversion, AnEmptyTextGivesAnEmptyText) {
    EXPECT_EQ(Utf8ToUtf16(""), L"");
    EXPECT_EQ(Utf16ToUtf8(L""), "");
}

TEST(TextConversion, GoesBothWays) {
    const std::string narrow = "ASCII, \xC2\xA2, 中文, \xF0\x9F\x98\x80";
    const std::wstring wide = L"ASCII, \u00A2, 中文, \U0001F600";
    EXPECT_EQ(Utf8ToUtf16(narrow), wide);
    EXPECT_EQ(Utf16ToUtf8(wide), narrow);
}

TEST(TextConversion, EndsAtTheFirstNul) {
    EXPECT_EQ(Utf8ToUtf16(std::string("ab\0cd", 5)), L"ab");
    EXPECT_EQ(Utf16ToUtf8(std::wstring(L"ab\0cd", 5)), "ab");
    EXPECT_EQ(Utf8ToUtf16(std::string("\0cd", 3)), L"");
}

TEST(TextConversion, BrokenSequencesBecomeReplacements) {
    EXPECT_EQ(Utf8ToUtf16("a\x80z"), L"a\uFFFDz") << "a continuation alone";
    EXPECT_EQ(Utf8ToUtf16("a\xFFz"), L"a\uFFFDz") << "a byte that never occurs";
    EXPECT_EQ(Utf8ToUtf16("a\xE4\xB8z"), L"a\uFFFDz") << "cut short in the middle";
    EXPECT_EQ(Utf8ToUtf16("a\xE4\xB8"), L"a\uFFFD") << "cut short at the end";
    EXPECT_EQ(Utf8ToUtf16("a\xC0\xAFz"), L"a\uFFFD\uFFFDz") << "needlessly long";
    EXPECT_EQ(Utf16ToUtf8(std::wstring(L"a\xD800z")), "a\xEF\xBF\xBDz") << "half a pair";
    EXPECT_EQ(Utf16ToUtf8(std::wstring(L"a\xDC00")), "a\xEF\xBF\xBD") << "the other half";
}

TEST(TextConversion, LongTextsArriveWhole) {
    std::string narrow;
    for (int i = 0; i < 100000; ++i) {
        narrow += "中a";
    }
    EXPECT_EQ(Utf16ToUtf8(Utf8ToUtf16(narrow)), narrow);
}

}  // namespace
