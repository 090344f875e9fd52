#include "foundation/log.h"

#include <cwchar>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "foundation/log_output.h"
#include "tests/support/log_capture.h"

// What each of these logs is the name by which it calls itself.
namespace LOG_NAMES {

void Free() {
    NXL_LOG(L"[%s(%d)] free");
}

std::string ReturnsString() {
    NXL_LOG(L"[%s(%d)] string");
    return {};
}

std::function<void(int)> ReturnsFunction(std::vector<std::pair<int, int>>) {
    NXL_LOG(L"[%s(%d)] function");
    return nullptr;
}

const wchar_t* ReturnsPointer() {
    NXL_LOG(L"[%s(%d)] pointer");
    return nullptr;
}

template <typename T>
void Template(T) {
    NXL_LOG(L"[%s(%d)] template");
}

void Lambda() {
    const auto inner = [](int) { NXL_LOG(L"[%s(%d)] lambda"); };
    inner(1);
}

class CNamed {
  public:
    CNamed() { NXL_LOG(L"[%s(%d)] constructor"); }
    virtual ~CNamed() { NXL_LOG(L"[%s(%d)] destructor"); }
    static void Static() { NXL_LOG(L"[%s(%d)] static"); }
    virtual void Constant() const { NXL_LOG(L"[%s(%d)] constant"); }
    void operator()() { NXL_LOG(L"[%s(%d)] call"); }
    explicit operator bool() const {
        NXL_LOG(L"[%s(%d)] convert");
        return true;
    }
    bool operator<(const CNamed&) const {
        NXL_LOG(L"[%s(%d)] less");
        return false;
    }
};

namespace {

void Unnamed() {
    NXL_LOG(L"[%s(%d)] unnamed");
}

}  // namespace
}  // namespace LOG_NAMES

namespace {

using log_detail::FormatFits;
using log_detail::Types;

std::string NameIn(std::string_view pretty) {
    const log_detail::NameRange range = log_detail::FindName(pretty);
    return std::string(pretty.substr(range.begin, range.end - range.begin));
}

TEST(Log, NamesTheEnclosingFunctionByClassAndNamespace) {
    LogCapture log;
    LOG_NAMES::Free();
    LOG_NAMES::ReturnsString();
    LOG_NAMES::ReturnsFunction({});
    LOG_NAMES::ReturnsPointer();
    LOG_NAMES::Template(1);
    LOG_NAMES::Lambda();
    LOG_NAMES::Unnamed();
    {
        LOG_NAMES::CNamed named;
        LOG_NAMES::CNamed::Static();
        named.Constant();
        named();
        EXPECT_TRUE(static_cast<bool>(named));
        EXPECT_FALSE(named < named);
    }
    const std::vector<std::pair<const char*, const char*>> expected = {
        {"LOG_NAMES::Free", "free"},
        {"LOG_NAMES::ReturnsString", "string"},
        {"LOG_NAMES::ReturnsFunction", "function"},
        {"LOG_NAMES::ReturnsPointer", "pointer"},
        {"LOG_NAMES::Template", "template"},
        {"LOG_NAMES::Lambda", "lambda"},
        {"LOG_NAMES::Unnamed", "unnamed"},
        {"LOG_NAMES::CNamed::CNamed", "constructor"},
        {"LOG_NAMES::CNamed::~CNamed", "destructor"},
        {"LOG_NAMES::CNamed::Static", "static"},
        {"LOG_NAMES::CNamed::Constant", "constant"},
        {"LOG_NAMES::CNamed::operator()", "call"},
        {"LOG_NAMES::CNamed::operator bool", "convert"},
        {"LOG_NAMES::CNamed::operator<", "less"},
    };
    for (const auto& [name, text] : expected) {
        const std::string line = log.Find(std::string(") ").insert(1, "]") + text);
        EXPECT_TRUE(line.starts_with(std::string("[") + name + "(")) << name << " in\n" << log.All();
    }
}

TEST(Log, FindsTheNameInTheWordsOfEitherCompiler) {
    EXPECT_EQ(NameIn("void NS::C::f(int) const"), "NS::C::f");
    EXPECT_EQ(NameIn("static void C::f(std::map<int, std::function<void(int)> >)"), "C::f");
    EXPECT_EQ(NameIn("std::function<void (int)> f()"), "f");
    EXPECT_EQ(NameIn("NS::f(int)::<lambda(auto:1)> [with auto:1 = int]"), "NS::f");
    EXPECT_EQ(NameIn("auto C::f(int)::(anonymous class)::operator()(int) const"), "C::f");
    EXPECT_EQ(NameIn("int wWinMain(HINSTANCE, HINSTANCE, LPWSTR, int)"), "wWinMain");
    EXPECT_EQ(NameIn("C<T>::f() [with T = std::pair<int, int>]"), "C<T>::f");
    EXPECT_EQ(NameIn("bool NS::C::operator()(int)"), "NS::C::operator()");
    EXPECT_EQ(NameIn("int operator_table(int)"), "operator_table");
    EXPECT_EQ(NameIn("main"), "main");
}

TEST(Log, GivesTheLineOfTheCall) {
    LogCapture log;
    NXL_LOG(L"[%s(%d)] here %d", 7);
    const std::string place = "(" + std::to_string(__LINE__ - 1) + ")] here 7";
    EXPECT_TRUE(log.Find("here").ends_with(place)) << log.All();
}

namespace split {

const wchar_t* Whole() {
    return NXL_LOG_NAME;
}

void Part(const wchar_t* operation) {
    NXL_LOG_AS(operation, L"[%s(%d)] part %d", 3);
}

}  // namespace split

TEST(Log, APartLogsUnderTheNameOfTheWhole) {
    LogCapture log;
    split::Part(split::Whole());
    split::Part(L"Given::Name");
    const std::vector<std::string> lines = log.Lines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_TRUE(lines[0].starts_with("[split::Whole(") && lines[0].ends_with(")] part 3")) << lines[0];
    EXPECT_TRUE(lines[1].starts_with("[Given::Name(") && lines[1].ends_with(")] part 3")) << lines[1];
}

TEST(Log, NameOfTheWholeIsNotWorkedOutWhileTheLogIsOff) {
    int evaluated = 0;
    const auto name = [&evaluated] {
        ++evaluated;
        return L"name";
    };
    NXL_LOG_AS(name(), L"[%s(%d)] text");
    EXPECT_EQ(evaluated, 0);
}

TEST(Log, AFormatWithoutOriginGetsNoName) {
    LogCapture log;
    NXL_LOG(L"plain %s text %d", L"wide", 5);
    NXL_LOG(L"nothing to fill in");
    EXPECT_EQ(log.Lines(), (std::vector<std::string>{"plain wide text 5", "nothing to fill in"}));
}

TEST(Log, ArgumentsAreNotEvaluatedWhileItIsOff) {
    int evaluated = 0;
    const auto argument = [&evaluated] { return ++evaluated; };
    g_bDebugLog.store(0);
    NXL_LOG(L"[%s(%d)] %d", argument());
    EXPECT_EQ(evaluated, 0);
    LogCapture log;
    NXL_LOG(L"[%s(%d)] %d", argument());
    EXPECT_EQ(evaluated, 1);
}

TEST(Log, PrintfItselfDoesNothingWhileItIsOff) {
    LogCapture log;
    g_bDebugLog.store(0);
    LogPrintf(L"a text");
    EXPECT_EQ(log.All(), "");
}

TEST(Log, TextBeyond8191CharactersIsCutAndNotLost) {
    LogCapture log;
    for (const std::size_t length : {8190u, 8191u, 8192u, 30000u}) {
        NXL_LOG(L"%s", std::wstring(length, L'x').c_str());
    }
    std::vector<std::size_t> lengths;
    for (const std::string& line : log.Lines()) {
        lengths.push_back(line.size());
        EXPECT_EQ(line.find_first_not_of('x'), std::string::npos);
    }
    EXPECT_EQ(lengths, (std::vector<std::size_t>{8190, 8191, 8191, 8191}));
}

TEST(Log, TheTimeIsNotPadded) {
    EXPECT_EQ(LogLine({1, 0, 0, 1}, L"text"), L"1:0:0:1\ttext\r\n");
    EXPECT_EQ(LogLine({23, 59, 59, 999}, L""), L"23:59:59:999\t\r\n");
}

TEST(Log, ALongLineStaysWhole) {
    const std::wstring text(8191, L'x');
    EXPECT_EQ(LogLine({0, 0, 0, 0}, text), L"0:0:0:0\t" + text + L"\r\n");
}

TEST(Log, LinesOfSeveralThreadsStayWhole) {
    LogCapture log;
    std::vector<std::thread> threads;
    for (int id = 0; id < 4; ++id) {
        threads.emplace_back([id] {
            for (int line = 0; line < 200; ++line) {
                NXL_LOG(L"%s", std::wstring(100, static_cast<wchar_t>(L'a' + id)).c_str());
            }
        });
    }
    for (std::thread& one : threads) {
        one.join();
    }
    EXPECT_EQ(log.Lines().size(), 800u);
    for (const std::string& line : log.Lines()) {
        EXPECT_EQ(line, std::string(100, line.front()));
    }
}

TEST(Log, TheCompilerComparesArgumentsWithTheFormat) {
    EXPECT_TRUE(FormatFits(L"[%s(%d)] no more", Types<>{}));
    EXPECT_TRUE(FormatFits(L"%d %u %x %02X %s %hs %lld %.2f %p 100%%",
                           Types<int, unsigned, bool, char, wchar_t*, const char*, long long, double, void*>{}));
    EXPECT_FALSE(FormatFits(L"%s", Types<const char*>{})) << "narrow text for wide";
    EXPECT_FALSE(FormatFits(L"%s", Types<std::wstring>{})) << "a string object";
    EXPECT_FALSE(FormatFits(L"%s", Types<int>{}));
    EXPECT_FALSE(FormatFits(L"%d", Types<const wchar_t*>{}));
    EXPECT_FALSE(FormatFits(L"%d", Types<long long>{})) << "64 bits for 32";
    EXPECT_FALSE(FormatFits(L"%lld", Types<int>{}));
    EXPECT_FALSE(FormatFits(L"%d", Types<>{})) << "too few";
    EXPECT_FALSE(FormatFits(L"none", Types<int>{})) << "too many";
    EXPECT_FALSE(FormatFits(L"open %", Types<>{}));
    EXPECT_FALSE(FormatFits(L"%e", Types<double>{})) << "not used here";
}

}  // namespace
