#include "Client/Watch/View.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "Client/Status.h"
#include "Client/Terminal.h"
#include "Client/Texts.h"
#include "Client/Units.h"

namespace zqm {
namespace {

constexpr std::size_t categories = allCases<ProcessCategory>().size();

/// Puts the figures at the right end of the line; those that do not fit into `room` are left out, the first first.
/// Returns the columns that they take.
std::size_t putFigures(Screen& screen, Rectangle line, const std::vector<Figure>& figures, bool areStale) {
    std::size_t used = 0;
    for (auto figure = figures.rbegin(); figure != figures.rend(); ++figure) {
        const std::size_t width = columnsOf(figure->text);
        const std::size_t needed = used + width + (used > 0 ? 2 : 0);
        if (needed > line.columns) break;
        screen.put(line.row, line.column + line.columns - needed, figure->text, areStale ? Role::dim : figure->role);
        used = needed;
    }
    return used;
}

/// "CPU ──────────────  8 cores  23%"
void putTitle(Screen& screen, Rectangle area, std::string_view title, const std::vector<Figure>& figures,
              bool areStale) {
    const std::size_t begin = columnsOf(title) + 1;
    screen.put(area.row, area.column, title, Role::title);
    if (area.columns <= begin + 2) return;
    const Rectangle rest{area.column + begin + 2, area.row, area.columns - begin - 2, 1};
    const std::size_t used = putFigures(screen, rest, figures, areStale);
    std::string rule;
    for (std::size_t i = begin; i < area.columns - (used > 0 ? used + 1 : 0); ++i) rule += "─";
    screen.put(area.row, area.column + begin, rule, Role::dim);
}

void putGraph(Screen& screen, Rectangle area, std::span<const double> values, Role role, bool isHanging = false) {
    const auto lines = areaGraph(values, area.rows, screen.glyphs(), isHanging);
    for (std::size_t row = 0; row < lines.size(); ++row) screen.put(area.row + row, area.column, lines[row], role);
}

/// The area below a panel's title.
Rectangle bodyOf(Rectangle area) {
    return {area.column, area.row + 1, area.columns, area.rows - std::min<std::size_t>(1, area.rows)};
}

void putBars(Screen& screen, Rectangle area, const std::vector<Core>& cores, const CPUMetrics& cpu) {
    const std::size_t step = valuesPerCell(screen.glyphs());
    std::size_t column = 0;
    for (auto begin = cores.begin(); begin != cores.end();) {
        const auto end = std::find_if(begin, cores.end(), [&](const Core& core) { return core.role != begin->role; });
        std::vector<double> usage;
        for (auto core = begin; core != end; ++core) usage.push_back(cpu.perCoreUsage[core->index]);
        // Each kind takes the part of the width that its processors are of all.
        const std::size_t share = (area.columns * usage.size() + cores.size() - 1) / cores.size();
        const std::size_t columns = std::min(share, area.columns - std::min(area.columns, column));
        const auto values = barValues(usage, columns * step);
        putGraph(screen, {area.column + column, area.row, columns, area.rows}, values, begin->role);
        column += (values.size() + step - 1) / step;
        begin = end;
    }
}

void putCores(Screen& screen, Rectangle area, const Picture& picture) {
    const CPUMetrics& cpu = picture.reply->snapshot.cpu;
    const std::vector<Core> cores = coresByKind(cpu);
    const CoreGrid grid = coreGrid(cores.size(), {area.columns, area.rows});
    if (grid.perRow == 0) return putBars(screen, area, cores, cpu);
    std::size_t labelColumns = 0;
    for (const Core& core : cores) labelColumns = std::max(labelColumns, core.label.size() + 1);
    const std::size_t figureColumns = grid.cell.columns >= labelColumns + 12 ? 5 : 0;
    const std::size_t graphColumns = grid.cell.columns - labelColumns - figureColumns;
    for (std::size_t i = 0; i < cores.size(); ++i) {
        const Core& core = cores[i];
        const std::size_t row = area.row + i / grid.perRow * grid.cell.rows;
        const std::size_t column = area.column + i % grid.perRow * (grid.cell.columns + coreGap);
        screen.put(row, column, core.label, Role::dim);
        const auto values = picture.history.latestOfCore(core.index, graphColumns, valuesPerCell(screen.glyphs()));
        putGraph(screen, {column + labelColumns, row, graphColumns, grid.cell.rows}, values, core.role);
        if (figureColumns == 0) continue;
        screen.put(row, column + labelColumns + graphColumns,
                   fittedRight(percentText(cpu.perCoreUsage[core.index]), figureColumns),
                   picture.problem.empty() ? Role::plain : Role::dim);
    }
}

void putCurves(Screen& screen, Rectangle area, const Panel& panel, std::vector<std::vector<double>> curves,
               double high) {
    for (std::vector<double>& values : curves) {
        for (double& value : values) value = (value - panel.low) / (high - panel.low);
    }
    const bool isSplit = curves.size() > 1 && area.rows > 1;
    Rectangle upper = area;
    if (isSplit) upper.rows = (area.rows + 1) / 2;
    putGraph(screen, upper, curves[0], panel.curves[0].role);
    if (!isSplit) return;
    const Rectangle lower{area.column, area.row + upper.rows, area.columns, area.rows - upper.rows};
    putGraph(screen, lower, curves[1], panel.curves[1].role, true);
}

void putPanel(Screen& screen, Rectangle area, const Panel& panel, const Picture& picture) {
    std::vector<Figure> figures = panel.figures;
    std::vector<std::vector<double>> curves;
    double most = 0;
    for (const Curve& curve : panel.curves) {
        curves.push_back(picture.history.latest(curve.track, area.columns, valuesPerCell(screen.glyphs())));
        for (const double value : curves.back()) most = std::max(most, std::isfinite(value) ? value : 0);
    }
    const double high = panel.scaleText ? roundScale(most, panel.high) : panel.high;
    if (panel.scaleText) figures.insert(figures.begin(), {said("scale {}", panel.scaleText(high)), Role::dim});
    putTitle(screen, area, panel.title, figures, !picture.problem.empty());
    if (curves.empty()) return putCores(screen, bodyOf(area), picture);
    putCurves(screen, bodyOf(area), panel, std::move(curves), high);
}

void putRanking(Screen& screen, Rectangle area, std::size_t place, const Picture& picture) {
    constexpr std::size_t valueColumns = 10;
    constexpr std::size_t pidColumns = 8;
    const bool isStale = !picture.problem.empty();
    const Choices& choices = picture.choices;
    const ProcessCategory category = categoryAt(place);
    std::vector<Figure> remarks;
    if (category == ProcessCategory::gpu && !picture.isGraphicsCounted)
        remarks.push_back({said("estimate"), Role::dim});
    if (choices.order != RankingOrder::value) {
        remarks.push_back({choices.order == RankingOrder::name ? said("by name") : said("by PID"), Role::dim});
    }
    putTitle(screen, area, rankingTitle(category), remarks, isStale);
    const std::vector<TopProcess> ranking = shownRanking(*picture.reply, category, choices.order);
    const Rectangle body = bodyOf(area);
    if (ranking.empty() && body.rows > 0) screen.put(body.row, body.column, said("none"), Role::dim);
    const std::size_t nameColumns = area.columns - std::min(area.columns, valueColumns + pidColumns);
    for (std::size_t i = 0; i < std::min(ranking.size(), body.rows); ++i) {
        const TopProcess& process = ranking[i];
        const std::size_t row = body.row + i;
        const bool isSelected = place == choices.firstRanking && choices.selectedPid == process.pid;
        const Role role = isSelected ? Role::selected : isStale ? Role::dim : Role::plain;
        screen.put(row, area.column, fitted(printable(process.name), nameColumns), role);
        screen.put(row, area.column + nameColumns, fittedRight(std::to_string(process.pid), pidColumns),
                   isSelected ? Role::selected : Role::dim);
        screen.put(row, area.column + area.columns - valueColumns,
                   fittedRight(rankingValueText(category, process.value), valueColumns), role);
    }
}

std::string timeText(WallTime time, bool use24Hour) {
    return localTimeText(time, use24Hour ? "%H:%M:%S" : "%I:%M:%S %p");
}

void putProblem(Screen& screen, const Picture& picture) {
    std::string text = " " + printable(picture.problem);
    if (picture.reply) text += " · " + said("last sample {} ago", spanText(picture.silence));
    screen.put(0, 0, fitted(text, screen.size().columns), Role::banner);
}

/// What the header says at its right end.
std::vector<Figure> headerFigures(const Picture& picture, Seconds graphs, bool hasLoad, const SettingsStore& settings) {
    const SystemSnapshot& snapshot = picture.reply->snapshot;
    const IPMetrics& ip = snapshot.ip;
    std::vector<Figure> figures;
    if (!ip.publicIP.empty()) figures.push_back({printable(ip.publicIP + " " + ip.regionName), Role::dim});
    if (!ip.localIPv4.empty()) figures.push_back({printable(ip.localIPv4), Role::dim});
    if (picture.facts) {
        for (const FileSystem& system : picture.facts->fileSystems) {
            const std::string free = said("{} free", bytesText(static_cast<double>(system.available)));
            const Level level = spaceLevel(system);
            figures.push_back(
                {printable(system.mountPoint) + " " + free, level == Level::normal ? Role::dim : roleOf(level)});
        }
        if (picture.facts->uptime) figures.push_back({said("up {}", uptimeText(*picture.facts->uptime)), Role::dim});
        if (picture.facts->loadAverages) {
            figures.push_back({said("load average {}", averagesText(*picture.facts->loadAverages)), Role::dim});
        }
    }
    figures.push_back({said("graphs of {}", spanText(graphs)), Role::dim});
    if (hasLoad) figures.push_back({said("load {}", percentText(snapshot.load.value))});
    if (picture.choices.isPaused) figures.push_back({said("paused"), Role::warning});
    figures.push_back({timeText(snapshot.timestamp, settings.use24Hour())});
    return figures;
}

void putHeader(Screen& screen, const Picture& picture, const std::vector<Figure>& figures) {
    if (!picture.problem.empty()) return putProblem(screen, picture);
    constexpr std::size_t hostColumn = 9;
    const std::string host = printable(picture.host);
    screen.put(0, 0, "zephlon", Role::title);
    screen.put(0, hostColumn, host);
    const std::size_t begin = hostColumn + columnsOf(host) + 2;
    const std::size_t columns = screen.size().columns;
    if (begin < columns) putFigures(screen, {begin, 0, columns - begin, 1}, figures, false);
}

void putFooter(Screen& screen, const Layout& layout, const Picture& picture) {
    const std::size_t row = screen.size().rows - 1;
    std::size_t column = 0;
    const auto put = [&](std::string_view key, std::string_view meaning, Role role = Role::dim) {
        screen.put(row, column, key, Role::title);
        screen.put(row, column + columnsOf(key) + 1, meaning, role);
        column += columnsOf(key) + columnsOf(meaning) + 3;
    };
    put("q", said("quit"));
    put("?", said("help"));
    if (layout.rankings.empty() || layout.rankings.size() >= categories) return;
    for (std::size_t i = 0; i < categories; ++i) {
        const bool isShown = (i + categories - picture.choices.firstRanking) % categories < layout.rankings.size();
        put(std::to_string(i + 1), rankingTitle(categoryAt(i)), isShown ? Role::plain : Role::dim);
    }
}

constexpr std::size_t widestBox = 76;

/// A frame in the middle of the screen with lines in it, what is behind it hidden; lines that are too long are broken.
void putBox(Screen& screen, std::string_view title, const std::vector<Figure>& lines) {
    const Size size = screen.size();
    const std::size_t columns = std::min(widestBox, size.columns);
    if (columns < 8 || size.rows < 3) return;
    std::vector<Figure> rows;
    for (const Figure& line : lines) {
        std::string rest = line.text;
        do {
            rows.push_back({std::string(beginningOf(rest, columns - 4)), line.role});
            rest.erase(0, rows.back().text.size());
        } while (!rest.empty());
    }
    rows.resize(std::min(rows.size(), size.rows - 2));
    const Rectangle box{(size.columns - columns) / 2, (size.rows - rows.size() - 2) / 2, columns, rows.size() + 2};
    std::string rule;
    for (std::size_t i = 2; i < columns; ++i) rule += "─";
    screen.put(box.row, box.column, "┌" + rule + "┐", Role::dim);
    screen.put(box.row, box.column + 2, " " + std::string(title) + " ", Role::title);
    for (std::size_t i = 0; i < rows.size(); ++i) {
        screen.put(box.row + 1 + i, box.column, "│ ", Role::dim);
        screen.put(box.row + 1 + i, box.column + 2, fitted(rows[i].text, columns - 4), rows[i].role);
        screen.put(box.row + 1 + i, box.column + columns - 2, " │", Role::dim);
    }
    screen.put(box.row + box.rows - 1, box.column, "└" + rule + "┘", Role::dim);
}

void putHelp(Screen& screen) {
    struct Line {
        std::string_view keys;
        Phrase meaning;
    };
    constexpr std::size_t keyColumns = 18;
    std::vector<Figure> lines;
    for (const Line& line :
         {Line{"1-6, ←→, Tab", "the rankings"}, Line{"↑↓", "an entry of the first one shown"},
          Line{"Enter", "its command line and user; k asks it to end"},
          Line{"s", "the rankings by value, by name, by PID"}, Line{"p, Space", "pause, and go on"},
          Line{"+ -", "slower, faster; graphs then begin anew"}, Line{"Ctrl-L", "draw anew"}, Line{"q", "quit"}}) {
        lines.push_back({fitted(line.keys, keyColumns) + said(line.meaning)});
    }
    lines.push_back({""});
    lines.push_back({said("P, E and C are processors: fast, efficient, of one kind."), Role::dim});
    lines.push_back({said("Any key returns."), Role::dim});
    putBox(screen, "zephlon watch", lines);
}

void putInspection(Screen& screen, const Inspection& inspection) {
    const std::string pid = std::to_string(inspection.process.pid);
    std::vector<Figure> lines{{"PID " + pid}};
    if (inspection.facts) {
        lines[0].text = said("PID {} of {}", pid, printable(inspection.facts->user));
        const Size size = screen.size();
        const std::size_t columns = std::min(widestBox, size.columns) - std::min<std::size_t>(size.columns, 4);
        const std::size_t most = columns * (size.rows > 8 ? size.rows - 8 : 1);  // what follows it must be seen
        const std::string command = printable(inspection.facts->command);
        lines.push_back({columnsOf(command) > most ? fitted(command, most) : command});
    } else {
        lines.push_back({said("Nothing more is known of it here."), Role::dim});
    }
    lines.push_back({""});
    if (!inspection.outcome.empty()) lines.push_back({printable(inspection.outcome), Role::warning});
    if (inspection.isAsking) {
        lines.push_back({said("Ask it to end (SIGTERM)? y: yes, any other key: no"), Role::critical});
    } else if (inspection.facts && inspection.outcome.empty()) {
        lines.push_back({said("k asks it to end; any other key returns."), Role::dim});
    } else {
        lines.push_back({said("Any key returns."), Role::dim});
    }
    putBox(screen, printable(inspection.process.name), lines);
}

}  // namespace

void draw(Screen& screen, const Picture& picture, const SettingsStore& settings) {
    screen.clear();
    if (!picture.reply) {
        putHeader(screen, picture, {});
        const std::string text =
            picture.problem.empty() ? said("asking the helper …") : said("waiting for the helper …");
        screen.put(screen.size().rows / 2, 1, text, Role::dim);
        if (picture.choices.showsHelp) putHelp(screen);
        return screen.show();
    }
    const std::vector<Panel> panels =
        panelsFor(*picture.reply, picture.facts ? &*picture.facts : nullptr, picture.history, settings);
    Layout layout = layoutFor(screen.size(), panels.size(), settings.showProcessSidebar() ? categories : 0);
    for (Rectangle& ranking : layout.rankings) ranking.rows = std::min(ranking.rows, 1 + picture.rankingRows);
    const std::size_t graphColumns = layout.panels.empty() ? 0 : layout.panels[0].columns;
    const auto slots = static_cast<double>(graphColumns * valuesPerCell(screen.glyphs()));
    const bool hasLoad = layout.panels.size() < panels.size();  // its panel is among the last
    putHeader(screen, picture, headerFigures(picture, picture.interval * slots, hasLoad, settings));
    for (std::size_t i = 0; i < layout.panels.size(); ++i) putPanel(screen, layout.panels[i], panels[i], picture);
    for (std::size_t i = 0; i < layout.rankings.size(); ++i) {
        putRanking(screen, layout.rankings[i], (picture.choices.firstRanking + i) % categories, picture);
    }
    if (layout.hasFooter) putFooter(screen, layout, picture);
    if (picture.choices.inspection) putInspection(screen, *picture.choices.inspection);
    if (picture.choices.showsHelp) putHelp(screen);
    screen.show();
}

}  // namespace zqm
