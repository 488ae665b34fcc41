#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#define NCURSES_NOMACROS 1
#include <curses.h>

#include <algorithm>
#include <array>
#include <clocale>
#include <cmath>
#include <cstdlib>
#include <numeric>

#include "Client/Exposition.h"
#include "Client/Status.h"
#include "Client/Watch/View.h"
#include "Platform/Posix/Descriptor.h"
#include "tests/fakes/FakePlatform.h"
#include "tests/fakes/Golden.h"

// What `watch` draws on a terminal, cell by cell, and what else the client makes of the facts beside a sample:
// tests/golden/watch-NAME.txt holds each screen, the letters of its roles beside it.

namespace zqm {
namespace {

/// A terminal of a size that shows nobody what is drawn, for as long as this lives.
class HiddenTerminal {
public:
    HiddenTerminal(const char* type, Size size) : output_(::dup(STDOUT_FILENO)) {
        std::fflush(stdout);
        ::dup2(Descriptor(::open("/dev/null", O_WRONLY | O_CLOEXEC)).get(), STDOUT_FILENO);
        ::setenv("TERM", type, 1);
        ::setenv("COLUMNS", std::to_string(size.columns).c_str(), 1);
        ::setenv("LINES", std::to_string(size.rows).c_str(), 1);
    }
    ~HiddenTerminal() {
        for (const char* name : {"COLUMNS", "LINES"}) ::unsetenv(name);
        ::dup2(output_.get(), STDOUT_FILENO);
        std::setlocale(LC_ALL, "C");
    }

private:
    const Descriptor output_;
};

/// A letter for each role: by its colour, or by how the terminal's own looks.
char roleAt(int row, int column) {
    cchar_t cell;
    std::array<wchar_t, CCHARW_MAX + 1> text{};
    attr_t looks = 0;
    short pair = 0;
    ::mvwin_wch(stdscr, row, column, &cell);
    ::getcchar(&cell, text.data(), &looks, &pair, nullptr);
    if (pair > 0) return std::string_view("?.dTlpeomgiohxw!B?").at(static_cast<std::size_t>(pair));
    return (looks & A_REVERSE) != 0 ? 'S' : (looks & A_BOLD) != 0 ? 'T' : (looks & A_DIM) != 0 ? 'd' : '.';
}

std::string shown(const Screen& screen) {
    std::string text;
    for (short pair = 1; pair < COLOR_PAIRS && ::has_colors(); ++pair) {  // the colours of the roles
        short colour = 0, ground = 0;
        ::pair_content(pair, &colour, &ground);
        if (colour == 0) break;
        text += std::to_string(colour) + " on " + std::to_string(ground) + (pair % 6 == 0 ? "\n" : ", ");
    }
    text += "\n";
    for (std::size_t row = 0; row < screen.size().rows; ++row) {
        std::array<wchar_t, 512> line{};
        std::array<char, 2048> bytes{};
        ::mvwinnwstr(stdscr, static_cast<int>(row), 0, line.data(), static_cast<int>(line.size()) - 1);
        std::wcstombs(bytes.data(), line.data(), bytes.size());
        std::string roles;
        for (std::size_t i = 0; i < screen.size().columns; ++i) {
            roles += roleAt(static_cast<int>(row), static_cast<int>(i));
        }
        text += "|" + std::string(bytes.data()) + "|" + roles + "|\n";
    }
    return text;
}

/// The laptop of the transcripts over some time, with a gap in it and a curve for each quantity.
Picture laptop() {
    Picture picture;
    picture.reply = std::get<SnapshotReply>(decodeReply(contentOf(ZQM_TEST_DATA "/transcripts/laptop.json")));
    picture.host = "laptop";
    picture.reply->snapshot.timestamp = WallTime(Seconds(1763327051));
    for (int i = 20; i >= 0; --i) {
        SystemSnapshot sample = picture.reply->snapshot;
        const double share = (i * 7 % 11) / 10.0;
        if (i > 0) sample.cpu.totalUsage = sample.load.value = sample.gpu.utilization = share;
        for (double& usage : sample.cpu.perCoreUsage) usage = i > 0 ? std::abs(usage - share) : usage;
        sample.network.downloadBytesPerSecond *= 1 - share / 2;
        sample.network.uploadBytesPerSecond *= 40 * share;
        sample.disk.writeBytesPerSecond *= 3000 * share;
        sample.cpu.temperatureC += 20 * share;
        sample.power.systemWatts *= 1 + share;
        picture.history.add(sample);
        if (i == 9) picture.history.addGap();
    }
    return picture;
}

void addFacts(Picture& picture) {
    constexpr std::uint64_t gibibyte = 1 << 30;
    picture.facts = {.system = "System 1",
                     .model = "",
                     .processor = "",
                     .uptime = Seconds(93'784),
                     .loadAverages = {{0.5, 1.25, 2}},
                     .fileSystems = {{"/", 100 * gibibyte, gibibyte}, {"/home", 100 * gibibyte, 50 * gibibyte}},
                     .drives = {{"sda", 1e6, 2e6}, {"sdb", 0, 300}},
                     .interfaces = {{"wlan0", 5e6, 1e6}},
                     .temperatures = {{"chip one", 45.5}, {"chip two", -3}},
                     .fans = {{"chip fan", 1200}}};
}

TEST(GoldenFacts, AreToldBesideTheSample) {
    FakePlatform platform;
    const SettingsStore settings(platform.userDefaults);
    L10n::language = AppLanguage::english;
    std::setlocale(LC_ALL, "C.UTF-8");
    ::setenv("TZ", "UTC0", 1);
    Picture picture = laptop();
    addFacts(picture);
    const MachineFigures figures{*picture.facts, WallTime(Seconds(1.5e9)), {{"sda", 10, 20}}, {{"wlan0", 30, 40}}};
    ExpositionContext context;
    context.machine = &figures;
    const auto now = picture.reply->snapshot.timestamp;
    const std::string exposed = exposition(*picture.reply, context);
    expectGolden("watch-facts.txt", statusText(*picture.reply, &figures.facts, settings, Style(true), now) +
                                        exposed.substr(exposed.find("# HELP zqm_machine_info")));
    L10n::language = AppLanguage::chinese;
    std::setlocale(LC_ALL, "C");
}

/// `cores` of two kinds, and no figure that a machine may do without.
void makeServer(Picture& picture, std::size_t cores) {
    auto& [snapshot, processes] = *picture.reply;
    CPUMetrics cpu;
    for (std::size_t i = 0; i < cores; ++i) {
        cpu.perCoreUsage.push_back(static_cast<double>(i % 8) / 8);
        cpu.coreKinds.push_back(i % 4 == 3 ? CoreKind::efficiency : CoreKind::performance);
    }
    cpu.totalUsage = std::reduce(cpu.perCoreUsage.begin(), cpu.perCoreUsage.end()) / static_cast<double>(cores);
    const WallTime time = snapshot.timestamp;
    snapshot = {};
    snapshot.cpu = cpu;
    snapshot.timestamp = time;
    snapshot.memory.totalBytes = 64'000'000'000;
    snapshot.memory.usedBytes = 63'000'000'000;
    for (auto& ranking : processes) ranking.clear();
    picture.history = {};
    for (int i = 0; i < 3; ++i) picture.history.add(snapshot);  // a level rises after three
}

struct Scene {
    const char* name;
    Size size;
    void (*change)(Picture& picture);
    const char* terminal = "xterm-256color";
    const char* locale = "C.UTF-8";
    AppLanguage language = AppLanguage::english;
};

/// What `describe` says of 1, 2 … `most`, each time that it changes.
template <class Describe>
std::string changes(std::size_t most, Describe describe) {
    std::string text, before;
    for (std::size_t i = 1; i <= most; ++i) {
        const std::string now = describe(i);
        if (now != before) text += "  from " + std::to_string(i) + ": " + now + "\n";
        before = now;
    }
    return text;
}

TEST(GoldenScreen, GivesEachSizeItsLayout) {
    std::string text = "columns of 60 rows: panels and rankings side by side\n";
    const auto count = [](std::size_t number) { return std::to_string(number) + " "; };
    text += changes(400, [&](std::size_t columns) {
        const Layout layout = layoutFor({columns, 60}, 10, 6);
        const auto isFirst = [&](const Rectangle& panel) { return panel.row == layout.panels[0].row; };
        return count(std::count_if(layout.panels.begin(), layout.panels.end(), isFirst)) +
               count(layout.rankings.size());
    });
    text += "rows of 80 columns: panels, rows of the first and of rankings, and whether there is a footer\n";
    text += changes(60, [&](std::size_t rows) {
        const Layout layout = layoutFor({80, rows}, 9, 6);
        return count(layout.panels.size()) + count(layout.panels.empty() ? 0 : layout.panels[0].rows) +
               count(layout.rankings.empty() ? 0 : layout.rankings[0].rows) + (layout.hasFooter ? "footer" : "none");
    });
    for (const auto& [cores, rows] : {std::pair{1u, 2u}, {8, 2}, {8, 5}, {64, 9}}) {
        text += "columns of a panel with " + count(cores) + "cores and " + count(rows) + "rows: graphs in a row\n";
        text += changes(300, [&, c = cores, r = rows](std::size_t columns) {
            return count(coreGrid(c, {columns, r}).perRow);
        });
    }
    expectGolden("watch-layouts.txt", text);
}

TEST(GoldenScreen, LooksAsReviewed) {
    FakePlatform platform;
    const SettingsStore settings(platform.userDefaults);
    ::setenv("TZ", "UTC0", 1);
    for (const Scene& scene :
         {Scene{"laptop", {170, 44}, addFacts}, Scene{"server", {100, 24}, [](Picture& p) { makeServer(p, 202); }},
          Scene{"processors",
                {60, 30},
                [](Picture& p) {
                    makeServer(p, 12);
                    p.reply->snapshot.battery.isPresent = p.reply->snapshot.battery.isCharging = true;
                    p.reply->snapshot.battery.timeRemainingMinutes = 0;
                    p.history.add(p.reply->snapshot);
                },
                "linux"},
          Scene{"alike",
                {60, 12},
                [](Picture& p) {
                    makeServer(p, 8);
                    for (CoreKind& kind : p.reply->snapshot.cpu.coreKinds) kind = CoreKind::performance;
                }},
          Scene{"chosen",
                {80, 24},
                [](Picture& p) {
                    p.choices.firstRanking = 5;
                    p.choices.selectedPid = 901;
                    p.choices.order = RankingOrder::pid;
                    p.choices.isPaused = true;
                    p.choices.inspection = {p.reply->processes[0][0], ProcessFacts{1, "u", std::string(200, 'x')},
                                            false, ""};
                }},
          Scene{"asking",
                {44, 14},
                [](Picture& p) {
                    p.choices.order = RankingOrder::name;
                    p.choices.inspection = {{5, "five", 1}, ProcessFacts{1, "u", std::string(999, 'y')}, true, ""};
                },
                "vt100",
                "C"},
          Scene{"ended",
                {80, 12},
                [](Picture& p) {
                    p.choices.inspection = {{5, "five", 1}, ProcessFacts{1, "u", "c"}, false, "no"};
                }},
          Scene{"unknown",
                {80, 12},
                [](Picture& p) {
                    p.choices.inspection = {{5, "five", 1}, {}, false, ""};
                }},
          Scene{"small", {40, 6}, [](Picture& p) { p.choices.showsHelp = true; }},
          Scene{"help",
                {80, 24},
                [](Picture& p) { p.choices.showsHelp = true; },
                "linux",
                "C.UTF-8",
                AppLanguage::chinese},
          Scene{"stale",
                {80, 24},
                [](Picture& p) {
                    p.problem = "no helper";
                    p.silence = Seconds(75);
                    p.choices.firstRanking = 1;
                }},
          Scene{"faint",
                {190, 24},
                [](Picture& p) {
                    p.reply = std::get<SnapshotReply>(decodeReply(contentOf(ZQM_TEST_DATA "/transcripts/faint.json")));
                    p.history = {};
                    p.history.add(p.reply->snapshot);
                }},
          Scene{"waiting", {40, 5}, [](Picture& p) { p.reply.reset(); }}}) {
        std::setlocale(LC_ALL, scene.locale);
        L10n::language = scene.language;
        std::string actual;
        {
            const HiddenTerminal terminal(scene.terminal, scene.size);
            const auto screen = Screen::open(true);
            ASSERT_TRUE(screen);
            Picture picture = laptop();
            scene.change(picture);
            draw(*screen, picture, settings);
            actual = shown(*screen);
        }
        expectGolden(std::string("watch-") + scene.name + ".txt", actual);
    }
    L10n::language = AppLanguage::chinese;
}

}  // namespace
}  // namespace zqm
