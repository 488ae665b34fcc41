#include "Client/Watch/View.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "Client/Status.h"
#include "Client/Terminal.h"
#include "Client/Units.h"

namespace zqm {
namespace {

constexpr std::size_t categories = allCases<ProcessCategory>().size();
/// The order of the rankings on the screen: what every machine has comes first.
constexpr std::array order{ProcessCategory::cpu,     ProcessCategory::memory, ProcessCategory::disk,
                           ProcessCategory::network, ProcessCategory::gpu,    ProcessCategory::power};
static_assert(order.size() == categories);
constexpr std::size_t leastColumnsWithPids = 33;

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
        curves.push_back(picture.history.latest(curve.quantity, area.columns, valuesPerCell(screen.glyphs())));
        for (const double value : curves.back()) most = std::max(most, std::isfinite(value) ? value : 0);
    }
    const double high = panel.scaleText ? roundScale(most, panel.high) : panel.high;
    if (panel.scaleText) figures.insert(figures.begin(), {"scale " + panel.scaleText(high), Role::dim});
    putTitle(screen, area, panel.title, figures, !picture.problem.empty());
    if (curves.empty()) return putCores(screen, bodyOf(area), picture);
    putCurves(screen, bodyOf(area), panel, std::move(curves), high);
}

void putRanking(Screen& screen, Rectangle area, ProcessCategory category, bool hasPids, const Picture& picture) {
    constexpr std::size_t valueColumns = 10;
    constexpr std::size_t pidColumns = 8;
    const bool isStale = !picture.problem.empty();
    const bool isEstimate = category == ProcessCategory::gpu && !picture.isGraphicsCounted;
    putTitle(screen, area, rankingTitle(category),
             isEstimate ? std::vector{Figure{"estimate", Role::dim}} : std::vector<Figure>{}, isStale);
    const std::vector<TopProcess>& ranking = picture.reply->ranking(category);
    const Rectangle body = bodyOf(area);
    // Who takes nothing only stands there to fill the ranking.
    const auto end =
        std::find_if(ranking.begin(), ranking.end(), [](const TopProcess& process) { return process.value <= 0; });
    const auto count = static_cast<std::size_t>(end - ranking.begin());
    if (count == 0 && body.rows > 0) screen.put(body.row, body.column, "none", Role::dim);
    const std::size_t nameColumns = area.columns - std::min(area.columns, valueColumns + (hasPids ? pidColumns : 0));
    for (std::size_t i = 0; i < std::min(count, body.rows); ++i) {
        const TopProcess& process = ranking[i];
        const std::size_t row = body.row + i;
        screen.put(row, area.column, fitted(printable(process.name), nameColumns), isStale ? Role::dim : Role::plain);
        if (hasPids) {
            screen.put(row, area.column + nameColumns, fittedRight(std::to_string(process.pid), pidColumns), Role::dim);
        }
        screen.put(row, area.column + area.columns - valueColumns,
                   fittedRight(rankingValueText(category, process.value), valueColumns),
                   isStale ? Role::dim : Role::plain);
    }
}

std::string timeText(WallTime time, bool use24Hour) {
    return localTimeText(time, use24Hour ? "%H:%M:%S" : "%I:%M:%S %p");
}

void putProblem(Screen& screen, const Picture& picture) {
    std::string text = " " + printable(picture.problem);
    if (picture.reply) text += " · last sample " + spanText(picture.silence) + " ago";
    screen.put(0, 0, fitted(text, screen.size().columns), Role::banner);
}

/// What the header says at its right end.
std::vector<Figure> headerFigures(const Picture& picture, Seconds graphs, bool hasLoad, const SettingsStore& settings) {
    const SystemSnapshot& snapshot = picture.reply->snapshot;
    const IPMetrics& ip = snapshot.ip;
    std::vector<Figure> figures;
    if (!ip.publicIP.empty()) figures.push_back({printable(ip.publicIP + " " + ip.regionName), Role::dim});
    if (!ip.localIPv4.empty()) figures.push_back({printable(ip.localIPv4), Role::dim});
    figures.push_back({"graphs of " + spanText(graphs), Role::dim});
    if (hasLoad) figures.push_back({"load " + percentText(snapshot.load.value)});
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
    screen.put(row, 0, "q", Role::title);
    screen.put(row, 2, "quit", Role::dim);
    if (layout.rankings.empty() || layout.rankings.size() >= categories) return;
    screen.put(row, 9, "←→", Role::title);
    screen.put(row, 12, "rankings", Role::dim);
    std::size_t column = 23;
    for (std::size_t i = 0; i < categories; ++i) {
        const bool isShown = (i + categories - picture.firstRanking) % categories < layout.rankings.size();
        const std::string_view title = rankingTitle(order[i]);
        screen.put(row, column, std::to_string(i + 1), Role::title);
        screen.put(row, column + 2, title, isShown ? Role::plain : Role::dim);
        column += title.size() + 4;
    }
}

}  // namespace

void draw(Screen& screen, const Picture& picture, const SettingsStore& settings) {
    screen.clear();
    if (!picture.reply) {
        putHeader(screen, picture, {});
        const std::string_view text = picture.problem.empty() ? "asking the helper …" : "waiting for the helper …";
        screen.put(screen.size().rows / 2, 1, text, Role::dim);
        return screen.show();
    }
    const std::vector<Panel> panels = panelsFor(*picture.reply, picture.history, settings);
    const Layout layout = layoutFor(screen.size(), panels.size(), categories);
    const std::size_t graphColumns = layout.panels.empty() ? 0 : layout.panels[0].columns;
    const auto slots = static_cast<double>(graphColumns * valuesPerCell(screen.glyphs()));
    const bool hasLoad = layout.panels.size() < panels.size();  // its panel is among the last
    putHeader(screen, picture, headerFigures(picture, picture.interval * slots, hasLoad, settings));
    for (std::size_t i = 0; i < layout.panels.size(); ++i) putPanel(screen, layout.panels[i], panels[i], picture);
    const bool hasPids = !layout.rankings.empty() && layout.rankings[0].columns >= leastColumnsWithPids;
    for (std::size_t i = 0; i < layout.rankings.size(); ++i) {
        const ProcessCategory category = order[(picture.firstRanking + i) % categories];
        putRanking(screen, layout.rankings[i], category, hasPids, picture);
    }
    if (layout.hasFooter) putFooter(screen, layout, picture);
    screen.show();
}

}  // namespace zqm
