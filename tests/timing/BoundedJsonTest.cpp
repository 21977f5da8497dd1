#include "BoundedJson.h"

#include "LargeJson.h"
#include "ProcessorTime.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace qorn::timing::detail {
namespace {

using nlohmann::json;

constexpr std::size_t kNoLimit = 1'000'000'000;

std::string faultOf(const std::string& text,
                    const JsonBounds& bounds = {.kept_depth = 2, .most_values = 100}) {
    try {
        parse_bounded_object(text, bounds);
    } catch (const JsonFault& fault) {
        return fault.what();
    }
    return "none";
}

std::string nested(const std::string& text, int levels) {
    std::string all;
    for (int level = 0; level < levels; ++level) {
        all += '[';
    }
    all += text;
    return all.append(static_cast<std::size_t>(levels), ']');
}

TEST(BoundedJson, KeepsWhatLiesAtItsDepthAndLeavesTheRestOut) {
    const std::string text =
        R"({"a":[1,-2,2.5,[3,{"deep":4},"5"],{"b":[6],"c":null,"d":{"e":true}}],"f":"g"})";
    const char* const kept[] = {
        R"({})",
        R"({"a":[],"f":"g"})",
        R"({"a":[1,-2,2.5,[],{}],"f":"g"})",
        R"({"a":[1,-2,2.5,[3,{},"5"],{"b":[],"c":null,"d":{}}],"f":"g"})",
        R"({"a":[1,-2,2.5,[3,{"deep":4},"5"],{"b":[6],"c":null,"d":{"e":true}}],"f":"g"})",
        R"({"a":[1,-2,2.5,[3,{"deep":4},"5"],{"b":[6],"c":null,"d":{"e":true}}],"f":"g"})",
    };
    for (int depth = 0; depth < 6; ++depth) {
        const JsonBounds bounds{.kept_depth = depth, .most_values = 100};
        EXPECT_EQ(parse_bounded_object(text, bounds), json::parse(kept[depth])) << depth;
    }
}

TEST(BoundedJson, KeepsTheLastOfValuesWithTheSameKey) {
    const JsonBounds bounds{.kept_depth = 2, .most_values = 100};
    EXPECT_EQ(parse_bounded_object(R"({"a":[1,2],"b":1,"a":{"c":3},"b":[4]})", bounds),
              json::parse(R"({"a":{"c":3},"b":[4]})"));
}

TEST(BoundedJson, RefusesWithThePlaceWhatIsNoJsonObject) {
    EXPECT_EQ(faultOf("{}"), "none");
    EXPECT_EQ(faultOf(" {} \n"), "none");
    EXPECT_EQ(faultOf(""), "is no JSON, near byte 0");
    EXPECT_EQ(faultOf("{\"a\":tru}"), "is no JSON, near byte 9");
    EXPECT_EQ(faultOf("{\"a\":1e999}"), "is no JSON, near byte 11");
    EXPECT_EQ(faultOf("{\"a\":\"\xFF\"}"), "is no JSON, near byte 7");
    EXPECT_EQ(faultOf("{}{"), "is no JSON, near byte 3");
    EXPECT_EQ(faultOf("[]"), "is no JSON object, near byte 1");
    EXPECT_EQ(faultOf("null"), "is no JSON object, near byte 4");
}

TEST(BoundedJson, CountsEachValueThatIsKeptAndNoOther) {
    EXPECT_EQ(faultOf(R"({"a":[1,[2],{"b":3}],"c":4})", {.kept_depth = 3, .most_values = 8}), "none");
    EXPECT_EQ(faultOf(R"({"a":[1,[2],{"b":3}],"c":4})", {.kept_depth = 3, .most_values = 7}),
              "holds more than 7 values, near byte 27");
    EXPECT_EQ(faultOf(R"({"a":[1,[2],{"b":3}],"c":4})", {.kept_depth = 2, .most_values = 6}), "none");
    EXPECT_EQ(faultOf(R"({"a":0,"a":0,"a":[]})", {.kept_depth = 2, .most_values = 3}),
              "holds more than 3 values, near byte 18");
    EXPECT_EQ(faultOf("{\"a\":" + nested(testing::jsonListOf("{}", 100'000), 3) + "}"), "none");
}

TEST(BoundedJson, RefusesNestingDeeperThan64Levels) {
    EXPECT_EQ(faultOf("{\"a\":" + nested("1", 63) + "}"), "none");
    EXPECT_EQ(faultOf("{\"a\":" + nested("1", 64) + "}"), "is nested deeper than 64 levels, near byte 69");
    EXPECT_EQ(faultOf("{\"a\":" + std::string(1'000'000, '[')),
              "is nested deeper than 64 levels, near byte 69");
}

TEST(BoundedJson, TakesTimeInProportionToTheText) {
    constexpr std::size_t kBytes = 131'072;
    for (const char* element :
         {"{}", "[]", "[0]", "{\"a\":0}", "0", "\"\"", "[[[]]]", "{\"a\":{\"b\":{}}}"}) {
        for (const int levels : {0, 3}) {
            const auto secondsOf = [&](std::size_t bytes) {
                const std::string text =
                    "{\"a\":" + nested(testing::jsonListOf(element, bytes), levels) + "}";
                const JsonBounds bounds{.kept_depth = 3, .most_values = kNoLimit};
                return testing::threadSecondsOf([&] { parse_bounded_object(text, bounds); });
            };
            const double few = std::max({secondsOf(kBytes), secondsOf(kBytes), secondsOf(kBytes)});
            EXPECT_LT(secondsOf(8 * kBytes), 24 * few) << element << " in " << levels << " levels";
        }
    }
}

} // namespace
} // namespace qorn::timing::detail
