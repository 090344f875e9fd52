#include "open/yyb/qimei.h"

#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <json/value.h>

namespace {

using YYB_API_CLIENT::CQimeiCache;
using YYB_API_CLIENT::HasQimeiMarker;
using YYB_API_CLIENT::ParseQimeiAnswer;
using YYB_API_CLIENT::QimeiPair;

TEST(QimeiAnswer, BothKeysAreRead) {
    QimeiPair pair;
    EXPECT_TRUE(ParseQimeiAnswer(R"({"qimei36":"six","qimei32":"two","more":1})", pair));
    EXPECT_EQ(pair, (QimeiPair{"two", "six"}));
}

TEST(QimeiAnswer, WithoutTheKeysTheTextsAreEmpty) {
    QimeiPair pair{"old", "old"};
    EXPECT_TRUE(ParseQimeiAnswer("{}", pair));
    EXPECT_EQ(pair, QimeiPair());
}

TEST(QimeiAnswer, WhatIsNotAnObjectLeavesThePair) {
    for (const char* text : {"", "{", "[]", "null", "\"qimei32\"", "5"}) {
        QimeiPair pair{"old", "older"};
        EXPECT_FALSE(ParseQimeiAnswer(text, pair)) << text;
        EXPECT_EQ(pair, (QimeiPair{"old", "older"})) << text;
    }
}

TEST(QimeiAnswer, ATextThatIsNoneCannotBeConverted) {
    QimeiPair pair;
    EXPECT_THROW(ParseQimeiAnswer(R"({"qimei32":5})", pair), Json::LogicError);
}

TEST(QimeiMarker, TheMarkerMayStandAnywhere) {
    EXPECT_TRUE(HasQimeiMarker("qone_"));
    EXPECT_TRUE(HasQimeiMarker("abcqone_def"));
    EXPECT_FALSE(HasQimeiMarker("Qone_1234"));
    EXPECT_FALSE(HasQimeiMarker("qone-1234"));
}

TEST(QimeiMarker, FewerThanFiveBytesLackIt) {
    EXPECT_FALSE(HasQimeiMarker(""));
    EXPECT_FALSE(HasQimeiMarker("qone"));
}

TEST(QimeiCache, OnlyAWholePairCounts) {
    CQimeiCache cache;
    QimeiPair pair{"x", "y"};
    EXPECT_FALSE(cache.Read(pair));
    cache.Write({"a", ""});
    EXPECT_FALSE(cache.Read(pair));
    cache.Write({"", "b"});
    EXPECT_FALSE(cache.Read(pair));
    EXPECT_EQ(pair, (QimeiPair{"x", "y"}));
    cache.Write({"a", "b"});
    EXPECT_TRUE(cache.Read(pair));
    EXPECT_EQ(pair, (QimeiPair{"a", "b"}));
    cache.Clear();
    EXPECT_FALSE(cache.Read(pair));
}

TEST(QimeiCache, ThreadsNeverSeeHalfAPair) {
    CQimeiCache cache;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&cache, t] {
            const std::string text(100, static_cast<char>('a' + t));
            for (int i = 0; i < 200; ++i) {
                cache.Write({text, text});
                QimeiPair pair;
                if (cache.Read(pair)) {
                    EXPECT_EQ(pair.qimei32, pair.qimei36);
                }
                if (i % 10 == 0) {
                    cache.Clear();
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

}  // namespace
