#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

#include "Client/History/HistoryFiles.h"
#include "Client/History/HistoryText.h"
#include "Client/Watch/History.h"
#include "Platform/Posix/PosixFolder.h"
#include "tests/fakes/FakePlatform.h"
#include "tests/fakes/TemporaryTree.h"

namespace zqm {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using Part = SampleHistory::Part;

struct English {
    English() { L10n::language = AppLanguage::english; }
    ~English() { L10n::language = before; }
    const AppLanguage before = L10n::language;
};

SystemSnapshot sampleAt(double time, double usage) {
    SystemSnapshot sample;
    sample.timestamp = WallTime(Seconds(time));
    sample.cpu.totalUsage = usage;
    sample.cpu.perCoreUsage = {usage, 1};
    return sample;
}

HistoryBlock read(const std::string& bytes) {
    auto block = readBlock(bytes);
    if (const auto* problem = std::get_if<std::string>(&block)) ADD_FAILURE() << *problem;
    return std::holds_alternative<HistoryBlock>(block) ? std::get<HistoryBlock>(std::move(block)) : HistoryBlock{};
}

/// The values of a track in eighths: "3", "-" where nothing is known, of three parts "2<3<4".
std::string eighths(const HistoryBlock& block, std::string_view name) {
    std::string text;
    const auto& names = block.shape.names;
    const auto track = static_cast<std::size_t>(std::find(names.begin(), names.end(), name) - names.begin());
    if (track == names.size()) return "none";
    const auto one = [&](std::size_t part, std::size_t slot) {
        const float value = block.at(track, part, slot);
        return std::isnan(value) ? std::string("-") : std::to_string(std::lround(static_cast<double>(value) * 8));
    };
    for (std::size_t slot = 0; slot < block.shape.count; ++slot) {
        if (!text.empty()) text += ' ';
        text += block.shape.parts == 1 ? one(0, slot) : one(1, slot) + '<' + one(0, slot) + '<' + one(2, slot);
    }
    return text;
}

TEST(SampleHistory, KeepsWhatWasToldAndLeavesGapsWhereNothingWas) {
    SampleHistory history;
    const auto add = [&](double time, double eighth, double interval = 1) {
        history.add(sampleAt(time, eighth / 8), Seconds(interval));
    };
    add(6000.9, 1);
    add(6002.1, 3);  // a sample stands for the time since the one before it
    add(6002.1, 7);  // and counts once
    add(6006, 4);    // a suspend
    EXPECT_EQ(eighths(read(history.figures(5999, 6007)), "cpu"), "- 1 3 3 - - - 4 -");
    add(6021, 2, 5);
    EXPECT_EQ(eighths(read(history.figures(6019, 6022)), "cpu"), "2 2 2 -");
    add(6001, 5);  // the clock is set back
    EXPECT_EQ(history.newest(), 6001U);
    EXPECT_EQ(eighths(read(history.figures(6000, 6003)), "cpu"), "1 5 3 -");
    add(-1, 1);
    add(1e300, 1);
    add(9000, 1);  // another place of the ring than 6000 + 3600, and gaps are not written
    add(9601, 6);
    EXPECT_EQ(eighths(read(history.figures(9600, 9602)), "cpu"), "- 6 -");
    EXPECT_EQ(eighths(read(history.figures(6001, 6003)), "cpu"), "1<2<5") << "beyond an hour: by the minute";
    EXPECT_FLOAT_EQ(read(history.figures(6001, 6003)).at(1, 0, 0), (1 + 2 * 3 + 4 + 15 * 2 + 5) / 20.F / 8);
    EXPECT_EQ(read(history.figures(6002, 9602)).shape.period, 60U) << "no more than an hour, also of time to come";
    EXPECT_EQ(read(history.figures(0, 9601)).shape.period, 60U);
    EXPECT_EQ(read(history.figures(0, 4000000000)).shape.period, 900U);
    EXPECT_EQ(read(history.figures(9601, 9600)).shape.count, 0U);
}

TEST(SampleHistory, TracksBeginWithWhatTheMachineHas) {
    SampleHistory history;
    SystemSnapshot sample = sampleAt(100, 0);
    sample.battery.isPresent = true;
    history.add(sample, Seconds(1));
    EXPECT_EQ(eighths(read(history.figures(100, 100)), "cpu"), "0");
    EXPECT_THAT(read(history.figures(100, 100)).shape.names,
                ElementsAre("load", "cpu", "memory", "memory.app", "memory.wired", "memory.pressure",
                            "network.download", "network.upload", "disk.read", "disk.write", "battery"));
    sample.timestamp += Seconds(1);
    sample.gpu.utilization = 0.5;
    sample.cpu.coreKinds = {CoreKind::efficiency, CoreKind::performance};
    history.add(sample, Seconds(1));
    sample.timestamp += Seconds(1);
    sample.gpu.utilization = 0;
    sample.load.value = std::numeric_limits<double>::infinity();
    history.add(sample, Seconds(1));
    const HistoryBlock block = read(history.figures(100, 102));
    EXPECT_EQ(eighths(block, "gpu"), "- 4 0");
    EXPECT_EQ(eighths(block, "cpu.efficiency") + eighths(block, "cpu.performance"), "- 0 0- 8 8");
    EXPECT_EQ(eighths(block, "load"), "0 0 -");
    EXPECT_EQ(eighths(read(history.cores(100, 103)), "core.0"), "0 0 0 -");
    EXPECT_EQ(eighths(read(history.cores(100, 103)), "core.1"), "8 8 8 -");
    sample.cpu.perCoreUsage.assign(1024, 0.254);  // half a MiB is 512 seconds of them
    for (int i = 0; i < 600; ++i) {
        sample.timestamp += Seconds(1);
        history.add(sample, Seconds(1));
    }
    const HistoryBlock cores = read(history.cores(0, 702));
    EXPECT_EQ(cores.shape.count, 512U);
    EXPECT_FLOAT_EQ(cores.at(1023, 0, 0), 0.255F);
}

TEST(HistoryFiles, OutliveTheProcessAndSetAsideWhatTheyCannotRead) {
    const English english;
    TemporaryTree tree;
    PosixFolder folder(tree.path("state/history"));
    const auto load = [&](SampleHistory& history) { return HistoryFiles(folder).load(history); };
    SampleHistory before;
    EXPECT_THAT(load(before), ElementsAre());
    for (int i = 0; i < 80; ++i) before.add(sampleAt(50000 + i, i % 2 ? 0.25 : 0.5), Seconds(1));
    HistoryFiles files(folder);
    for (const Part part : allCases<Part>()) EXPECT_FALSE(files.save(part, before.saved(part, 50079)));
    SampleHistory after;
    EXPECT_THAT(load(after), ElementsAre());
    EXPECT_EQ(after.figures(49990, 50105), before.figures(49990, 50105));
    EXPECT_EQ(after.figures(0, 50105), before.figures(0, 50105));
    EXPECT_EQ(after.cores(49990, 50105), before.cores(49990, 50105));
    after.add(sampleAt(50090, 1), Seconds(1));  // 40 seconds of the minute were told before
    EXPECT_NEAR(read(after.figures(50040, 54000)).at(1, 0, 0), (50 * 0.375 + 1) / 51, 0.01);
    const std::string minutes = before.saved(Part::minutes, 50079);
    SampleHistory none;
    for (std::size_t cut = 0; cut < minutes.size(); ++cut) {
        EXPECT_TRUE(none.restore(Part::minutes, minutes.substr(0, cut))) << cut;
        std::string spoiled = minutes;
        spoiled[cut] = static_cast<char>(spoiled[cut] ^ 4);
        EXPECT_TRUE(none.restore(Part::minutes, spoiled)) << cut;
    }
    EXPECT_EQ(none.saved(Part::minutes, 50079), SampleHistory().saved(Part::minutes, 50079));
    tree.write("state/history/seconds.zqmhist", minutes);
    tree.write("state/history/quarters.zqmhist", "text");
    tree.write("state/history/minutes.zqmhist", "ZQMHIST2");
    EXPECT_THAT(load(none), ElementsAre(HasSubstr("seconds.zqmhist: it is of another part of the history; set aside"),
                                        HasSubstr("minutes.zqmhist: it is of another version; set aside"),
                                        HasSubstr("quarters.zqmhist: it is no history; set aside as")));
    EXPECT_THAT(load(none), ElementsAre());
}

TEST(HistoryText, IsWhatWasAsked) {
    const std::vector<std::string> spans{"90s", "10m", "6h", "14d", "15d",
                                         "0s",  "10",  "m",  "-1m", "99999999999999999999s"};
    std::vector<std::uint32_t> seconds;
    for (const std::string& span : spans) seconds.push_back(parseSpan(span).value_or(0));
    EXPECT_THAT(seconds, ElementsAre(90, 600, 21600, 1209600, 0, 0, 0, 0, 0, 0));
    SampleHistory history;
    for (const double time : {1000.0, 1001.0, 1003.0, 1010.0}) history.add(sampleAt(time, 0.5), Seconds(1));
    const HistoryBlock second = read(history.figures(1002, 1005));
    FakePlatform platform;
    const SettingsStore settings(platform.platform);
    const English english;
    EXPECT_EQ(historyCsv({second, {1}}),
              "time,cpu\n1970-01-01T00:16:42Z,0.5\n1970-01-01T00:16:43Z,0.5\n1970-01-01T00:16:44Z,\n"
              "1970-01-01T00:16:45Z,\n");
    EXPECT_EQ(
        historyJson({second, {1}}),
        "{\"period\":1,\"first\":1002,\"metrics\":{\"cpu\":{\"unit\":\"ratio\",\"values\":[0.5,0.5,null,null]}}}\n");
    EXPECT_THAT(historyText({second, {1}}, settings, 40, Glyphs::ascii),
                testing::EndsWith("\n\ncpu  least 50%, mean 50%, greatest 50%, last 50%\n    \n    \n##  \n##  \n"));
    EXPECT_THAT(historyText({read(history.figures(1004, 1005)), {1}}, settings, 40, Glyphs::ascii),
                testing::EndsWith("\n\ncpu: nothing known\n"));
    for (const double time : {87000.0, 90000.0}) {
        SystemSnapshot sample = sampleAt(time, 0.25);
        sample.memory.usedBytes = time < 90000 ? 4 : 8;
        history.add(sample, Seconds(1));
    }
    EXPECT_THAT(historyCsv({read(history.figures(85000, 90000)), {1}}),
                testing::EndsWith("Z,,,\n1970-01-02T01:00:00Z,0.25,0.25,0.25\n"));
    EXPECT_THAT(
        historyText({read(history.figures(900, 90000)), {1, 2}}, settings, 40, Glyphs::ascii),
        testing::AllOf(HasSubstr("1970-01-0"), HasSubstr("a value for each 15 min\n\ncpu"),
                       HasSubstr("cpu  least 25%, mean 33%, greatest 50%, last 25%\n:  "), testing::EndsWith(" :#\n")));
}

TEST(WatchHistory, OpensWithThePast) {
    SampleHistory kept;
    for (const double time : {5000.0, 5001.0, 5005.0}) kept.add(sampleAt(time, (time - 4998) / 8), Seconds(1));
    const HistoryBlock figures = read(kept.figures(3000, 5006));
    const HistoryBlock cores = read(kept.cores(3000, 5006));
    History history;
    history.recall(&figures, &cores, 5007, 1);
    history.add(sampleAt(5007, 1));
    const auto text = [](const std::vector<double>& values) {
        std::string all;
        for (const double value : values) all += std::isnan(value) ? "-" : std::to_string(std::lround(value * 8));
        return all;
    };
    EXPECT_EQ(text(history.latest(Track::load, 9, 1)), "-00---0-0");
    EXPECT_EQ(text(history.latest(Track::cpu, 9, 1)), "-23---7-8");
    EXPECT_EQ(text(history.latestOfCore(0, 9, 1)), "-23---7-8");
    EXPECT_EQ(text(history.latestOfCore(1, 9, 1)), "-88---8-8");
    EXPECT_FALSE(history.isKnown(Track::gpu)) << "0 may mean that there is none";
    for (int i = 0; i < 2048; ++i) history.add(sampleAt(5008 + i, 0.5));
    EXPECT_EQ(text(history.latest(Track::cpu, 2, 2)), "444-");
    SystemSnapshot sample = sampleAt(9000, 0);
    sample.gpu.utilization = 0.5;
    History fresh;
    fresh.add(sample);
    EXPECT_TRUE(fresh.isKnown(Track::cpu) && fresh.isKnown(Track::gpu));
}

}  // namespace
}  // namespace zqm
