#include "LargeJson.h"
#include "ProcessorTime.h"
#include "SceneLoader.h"
#include "SceneNode.h"
#include "SceneRun.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <ostream>
#include <string>

namespace qorn::simulator::test {

namespace {

std::string refusalOf(const std::string& json) {
    try {
        loadScene(json);
    } catch (const SceneError& error) {
        return error.what();
    }
    return "none";
}

// A unit with so many of the same source, each on a line of its own from the second on.
std::string sourcesScene(int count, const std::string& source) {
    std::string sources;
    for (int i = 0; i < count; ++i) {
        sources += (i == 0 ? "\n" : ",\n") + source;
    }
    return "{\"units\": [{\"sources\": [" + sources + "]}]}";
}

struct BadScene {
    const char* name;
    std::string json;
    const char* refusal; // how it begins
};

std::ostream& operator<<(std::ostream& out, const BadScene& bad) {
    return out << bad.name;
}

class BadScenes : public ::testing::TestWithParam<BadScene> {};

TEST_P(BadScenes, AreRefusedWithTheLineAndTheKey) {
    const std::string refusal = refusalOf(GetParam().json);
    EXPECT_EQ(refusal.substr(0, std::string(GetParam().refusal).size()), GetParam().refusal) << refusal;
}

INSTANTIATE_TEST_SUITE_P(
    Table, BadScenes,
    ::testing::Values(
        BadScene{"Empty", "", "line 1: is no valid JSON"}, //
        BadScene{"NoObject", "[]", "line 1: must be an object"},
        BadScene{"NoUnits", "{\n}", "line 1: lacks the key \"units\""},
        BadScene{"UnknownKey", "{\n\"units\": [],\n\"uints\": []}",
                 "line 3, key \"uints\": is not known here"},
        BadScene{"TwiceTheSameKey", "{\n\"units\": [],\n\"units\": []}",
                 "line 3, key \"units\": is given twice"},
        BadScene{"MissingComma", "{\n\"pace\": \"realtime\"\n\"units\": []}",
                 "line 3, key \"pace\": is no valid JSON near"},
        BadScene{"MissingValue", "{\n\"units\": [\n{\"seed\": }]}",
                 "line 3, key \"units[0].seed\": is no valid JSON near"},
        BadScene{"CutShort", "{\"units\": [\n{\"seed\": 1}\n",
                 "line 3, key \"units[0]\": is no valid JSON near"},
        BadScene{"WrongPace", "{\n\"pace\": \"fast\", \"units\": []}",
                 "line 2, key \"pace\": must be realtime or unpaced"},
        BadScene{"UnitsNoArray", "{\n\"units\": 3}", "line 2, key \"units\": must be an array"},
        BadScene{"UnitNoObject", "{\"units\": [{},\n5\n]}", "line 2, key \"units[1]\": must be an object"},
        BadScene{"SeedNegative", "{\"units\": [{\n\"seed\": -1}]}",
                 "line 2, key \"units[0].seed\": must be from 0"},
        BadScene{"SeedBroken", "{\"units\": [{\n\n\"seed\": 1.5\n}]}",
                 "line 3, key \"units[0].seed\": must be a whole number"},
        BadScene{"SerialOfARealUnit", "{\"units\": [{\"serial\": \"QT000017\"}]}",
                 "line 1, key \"units[0].serial\": must begin with SIM"},
        BadScene{"SerialTwice", "{\"units\": [{\"serial\": \"SIM1\"},\n{\"serial\": \"SIM1\"}]}",
                 "line 2, key \"units[1]\": has the serial of another unit"},
        BadScene{"SourceWithoutKind", "{\"units\": [{\"sources\": [\n{\"input\": 1}]}]}",
                 "line 2, key \"units[0].sources[0]\": lacks the key \"kind\""},
        BadScene{"SourceOfStrangeKind", "{\"units\": [{\"sources\": [\n\n{\"kind\": \"noise\"}]}]}",
                 "line 3, key \"units[0].sources[0].kind\": must be one of"},
        BadScene{"SourceWithoutRate",
                 "{\"units\": [{\"sources\": [{\"kind\": \"poisson\",\n\"input\": 1}]}]}",
                 "line 1, key \"units[0].sources[0]\": lacks the key \"rate_hz\""},
        BadScene{"SourceOfTooManyPulses",
                 "{\"units\": [{\"sources\": [\n{\"kind\": \"bursts\", \"input\": 1, \"frequency_hz\": 1e6, "
                 "\"pulses\": 1001}]}]}",
                 "line 2, key \"units[0].sources[0]\": makes more pulses than can be played"},
        BadScene{
            "SourceThatFillsTheMemory",
            "{\"units\": [{\"sources\": [\n{\"kind\": \"periodic\", \"input\": 1, \"frequency_hz\": 1e8, "
            "\"jitter_ps\": 1e12}]}]}",
            "line 2, key \"units[0].sources[0]\": spreads its pulses so widely"},
        BadScene{
            "SourcesOfTooManyPulsesTogether",
            sourcesScene(7, R"({"kind": "poisson", "input": 1, "rate_hz": 1.5e8})"),
            "line 8, key \"units[0].sources[6]\": makes, with the sources before it, more pulses than can "
            "be played: at most 1e9 per second"},
        BadScene{"SourcesThatFillTheMemoryTogether",
                 sourcesScene(6, R"({"kind": "pairs", "inputs": [1, 2], "rate_hz": 1e6, "delay_ps": 1e12})"),
                 "line 7, key \"units[0].sources[5]\": spreads its pulses so widely that, with the sources "
                 "before it, more than 1e7"},
        BadScene{"TooManySources", sourcesScene(1001, R"({"kind": "poisson", "input": 1, "rate_hz": 1})"),
                 "line 1, key \"units[0].sources\": must hold at most 1000 sources"},
        BadScene{"SourceOfInputFive",
                 "{\"units\": [{\"sources\": [{\"kind\": \"poisson\",\n\"input\": 5}]}]}",
                 "line 2, key \"units[0].sources[0].input\": must be from 1 to 4"},
        BadScene{
            "RateAsText",
            "{\"units\": [{\"sources\": [{\"kind\": \"poisson\", \"input\": 1,\n\"rate_hz\": \"10\"}]}]}",
            "line 2, key \"units[0].sources[0].rate_hz\": must be a number"},
        BadScene{"KeyOfAnotherKind",
                 "{\"units\": [{\"sources\": [{\"kind\": \"poisson\", \"input\": 1, \"rate_hz\": 10,\n"
                 "\"lifetime_ps\": 3}]}]}",
                 "line 2, key \"units[0].sources[0].lifetime_ps\": is not known here"},
        BadScene{
            "PairsOnOneInput",
            "{\"units\": [{\"sources\": [{\"kind\": \"pairs\", \"rate_hz\": 10,\n\"inputs\": [2, 2]}]}]}",
            "line 2, key \"units[0].sources[0].inputs\": must hold two different inputs"},
        BadScene{
            "PairsOnThreeInputs",
            "{\"units\": [{\"sources\": [{\"kind\": \"pairs\", \"rate_hz\": 10,\n\"inputs\": [1, 2, 3]}]}]}",
            "line 2, key \"units[0].sources[0].inputs\": must hold two inputs"},
        BadScene{"EfficiencyAboveOne",
                 "{\"units\": [{\"sources\": [{\"kind\": \"pairs\", \"rate_hz\": 10, \"inputs\": [1, 2],\n"
                 "\"efficiencies\": [1,\n1.5\n]}]}]}",
                 "line 3, key \"units[0].sources[0].efficiencies[1]\": must be from 0 to 1"},
        BadScene{"EmitterFasterThanItsLifetime",
                 "{\"units\": [{\"sources\": [{\"kind\": \"emitter\", \"inputs\": [1, 2], \"lifetime_ps\": "
                 "10000,\n"
                 "\"rate_hz\": 1e8}]}]}",
                 "line 2, key \"units[0].sources[0].rate_hz\": is more than the emitter can send"},
        BadScene{"LockDelayNegative", "{\"units\": [{\"reference\": {\n\"lock_delay_s\": -1}}]}",
                 "line 2, key \"units[0].reference.lock_delay_s\": must be from 0"},
        BadScene{"FaultOfNoCall", "{\"units\": [{\"faults\": {\"calls\": [\n{\"call\": \"tt_close\"}]}}]}",
                 "line 2, key \"units[0].faults.calls[0].call\": names no call that can fail"},
        BadScene{"LossRateAboveOne", "{\"units\": [{\"faults\": {\n\"lost_byte_rate\": 2}}]}",
                 "line 2, key \"units[0].faults.lost_byte_rate\": must be from 0 to 1"},
        BadScene{"FlagAsNumber", "{\"units\": [{\"faults\": {\n\"start_mid_record\": 1}}]}",
                 "line 2, key \"units[0].faults.start_mid_record\": must be true or false"},
        BadScene{"TooManyUnits", "{\n\"units\": [{},{},{},{},{},{},{},{},{}]}",
                 "line 2, key \"units\": must hold at most eight units"},
        BadScene{"TooManyKeys", "{\n\"units\": [\n" + testing::jsonObjectOfKeys(2000) + "]}",
                 "line 3, key \"units[0]\": holds more than 64 keys"},
        BadScene{"KeyTooLong", "{\n\"units\": [\n{\"" + std::string(65, 'k') + "\": 1}]}",
                 "line 3, key \"units[0]\": holds a key of more than 64 bytes"},
        BadScene{"TooDeep", "{\n\"units\": [[[[[[[[[[[[[[[[[[[]]]]]]]]]]]]]]]]]]]}",
                 "line 2, key \"units[0]"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(BuiltInScene, HasTheTwoUnitsWithAllThatTheyShow) {
    const Scene scene = loadScene(builtInScene());
    EXPECT_EQ(scene.pace, Pace::RealTime);
    EXPECT_EQ(scene.durationS, 0);
    ASSERT_EQ(scene.units.size(), 2u);
    EXPECT_EQ(scene.units[0].serial, "SIM00001");
    EXPECT_EQ(scene.units[1].serial, "SIM00002");
    const auto& pairs = std::get<PairsSpec>(scene.units[0].sources[0].kind);
    EXPECT_EQ(pairs.inputs, (std::array<int, 2>{0, 1}));
    EXPECT_EQ(pairs.delayPs, 12400);
    EXPECT_EQ(pairs.sigmaPs, 120);
    EXPECT_EQ(pairs.rateHz, 50000);
    const auto& decay = std::get<DecaySpec>(scene.units[0].sources[3].kind);
    EXPECT_EQ(decay.lifetimePs, 3200);
    EXPECT_EQ(decay.input, 2);
    EXPECT_EQ(decay.syncInput, 3);
    EXPECT_EQ(decay.clock.frequencyHz, 1e6);
    for (const UnitSpec& unit : scene.units) {
        for (const SourceSpec& source : unit.sources) {
            EXPECT_GT(source.amplitudeV, 0.35);
            EXPECT_LT(source.amplitudeV, 1.5);
        }
    }
}

TEST(SceneLoader, ReadsCommentsAndDefaults) {
    const Scene scene = loadScene("{ // one unit\n \"units\": [ {} ] /* nothing else */ }");
    ASSERT_EQ(scene.units.size(), 1u);
    EXPECT_EQ(scene.units[0].serial, "SIM00001");
    EXPECT_TRUE(scene.units[0].sources.empty());
    EXPECT_TRUE(scene.units[0].reference.present);
    EXPECT_FALSE(scene.units[0].faults.unplugAfterS.has_value());
}

TEST(SceneLoader, RefusesAMegabyteOfValuesSoon) {
    constexpr std::size_t kBytes = 1'000'000;
    constexpr double kMostSeconds = 3; // the slowest takes a quarter of one
    const std::string numbers = testing::jsonListOf("0", kBytes);
    for (const std::string& scene :
         {testing::jsonObjectOfKeys(kBytes), "{\"units\":" + testing::jsonListOf("{}", kBytes) + "}",
          "{\"" + std::string(2000, 'k') + "\":" + numbers + "}", "{\"units\":[],\"x\":" + numbers + "}"}) {
        EXPECT_LT(testing::threadSecondsOf([&] { EXPECT_NE(refusalOf(scene), "none"); }), kMostSeconds)
            << scene.substr(0, 40);
    }
}

// The pieces of the documentation between ```json and ```.
std::vector<std::string> documentedScenes() {
    std::ifstream file(QORN_SIMULATOR_MANUAL);
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    std::vector<std::string> scenes;
    const std::string fence = "```json\n";
    for (std::size_t at = text.find(fence); at != std::string::npos; at = text.find(fence, at)) {
        at += fence.size();
        scenes.push_back(text.substr(at, text.find("```", at) - at));
    }
    return scenes;
}

TEST(SceneLoader, TakesTheScenesOfTheManual) {
    const std::vector<std::string> scenes = documentedScenes();
    ASSERT_GE(scenes.size(), 1u);
    for (const std::string& scene : scenes) {
        EXPECT_EQ(refusalOf(scene), "none");
    }
    const Scene full = loadScene(scenes.front());
    ASSERT_EQ(full.units.size(), 1u);
    EXPECT_EQ(full.units[0].sources.size(), 6u) << "the full example shows each kind of source";
}

} // namespace

} // namespace qorn::simulator::test
