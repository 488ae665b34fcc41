// The panels: which curves each shows, and what it says in figures. What a machine does not tell has no panel.
// `value(track)` is the figure at the time that people point at, else the latest; NaN where there is none.
const field = (reply, ...names) => number(names.reduce((found, name) => found?.[name], reply?.sample));
const joined = parts => parts.filter(part => part).join(" · ");
const some = (value, format) => value > 0 ? format(value) : "";

const kindNames = ["performance", "efficiency", "other"];
const kindLetters = {performance: "P", efficiency: "E", other: "C"};

// The kind of each processor, in the kernel's order.
function coreKinds(reply) {
    return list(reply?.sample?.cpu?.coreKinds, 4096).map(kind => {
        const name = kind && typeof kind === "object" ? Object.keys(kind)[0] : "";
        return name === "performance" || name === "efficiency" ? name : "other";
    });
}

// By kind, each with the number that it has in its kind.
function coresByKind(reply) {
    const kinds = coreKinds(reply), present = kindNames.filter(kind => kinds.includes(kind));
    return present.flatMap(kind => {
        let next = 0;
        return kinds.flatMap((own, index) => own !== kind ? []
            : {index, label: (present.length === 1 ? "C" : kindLetters[kind]) + next++, ink: kind});
    });
}

function batteryState(reply) {
    const battery = reply?.sample?.battery;
    if (!battery) return "";
    const minutes = number(battery.timeRemainingMinutes);
    return joined([say(battery.isCharging ? "charging" : battery.onACPower ? "onAC" : "onBattery"),
                   minutes >= 0 && say(battery.isCharging ? "toFull" : "left", durationText(minutes)),
                   battery.health > 0 && say("health", percentText(number(battery.health))),
                   battery.cycleCount > 0 && say("cycles", number(battery.cycleCount).toFixed(0))]);
}

const rates = (down, up, names) => ({
    label: rateText,
    high: curves => roundScale(curves.most(), 1000),
    series: () => [{track: down, name: names[0], ink: "incoming", format: rateText, style: "area", hasPeak: true},
                   {track: up, name: names[1], ink: "outgoing", format: rateText, style: "area", isDown: true, hasPeak: true}],
});

const panelKinds = [
    {
        name: "cpu",
        level: "load",
        figure: value => figure(value("cpu"), percentText),
        detail: (value, reply) => {
            const count = coreKinds(reply).length;
            return joined([count && say(count === 1 ? "oneCore" : "coreCount", count), some(value("cpu.temperature"), temperatureText)]);
        },
        series: has => {
            const kinds = kindNames.filter(kind => has("cpu." + kind));
            const parts = kinds.map(kind => ({track: "cpu." + kind, name: kind, ink: kind, format: percentText, style: "line",
                                              beside: "cpu.clock." + kind}));
            const all = {track: "cpu", name: "total", ink: kinds.length > 1 ? "load" : "performance", format: percentText, style: "area"};
            if (kinds.length > 1) return [all, ...parts];
            return [{...all, beside: ["cpu.clock.performance", "cpu.clock.efficiency"].find(has)}];
        },
    },
    {name: "cores", isCores: true, figure: () => "", series: () => []},
    {
        name: "memory",
        level: "memory",
        figure: value => figure(value("memory"), percentText),
        detail: (value, reply) => {
            const used = ["app", "wired", "compressed"].reduce((sum, part) => sum + (value("memory." + part) || 0), 0);
            const total = field(reply, "memory", "totalBytes");
            const pressure = {warning: "pressure", critical: "criticalPressure"}[reply.levels?.memory];
            return joined([used > 0 && total > 0 && say("of", bytesText(used), bytesText(total)), pressure && say(pressure)]);
        },
        label: bytesText,
        high: (curves, reply) => field(reply, "memory", "totalBytes") || roundScale(curves.most(), 2 ** 20),
        series: (has, reply) => [...["app", "wired", "compressed"].filter(part => has("memory." + part)).map(part => ({
            track: "memory." + part, name: part, ink: part === "app" ? "memory" : part, format: bytesText, style: "stack"})),
            ...has("swap") ? [{track: "swap", name: "swap", ink: "swap", format: bytesText, style: "line",
                               own: field(reply, "memory", "swapTotalBytes") || 2 ** 30}] : []],
    },
    {
        name: "gpu",
        figure: value => figure(value("gpu"), percentText),
        detail: value => some(value("gpu.temperature"), temperatureText),
        series: (has, reply) => [{track: "gpu", name: "gpu", ink: "gpu", format: percentText, style: "area"},
            ...has("gpu.clock") ? [{track: "gpu.clock", name: "clock", ink: "dim", format: frequencyText, style: "line",
                                    own: field(reply, "gpu", "maxFrequencyMHz") || 3000}] : []],
    },
    {
        name: "network", ...rates("network.download", "network.upload", ["download", "upload"]),
        figure: value => "↓ " + figure(value("network.download"), rateText),
        second: value => "↑ " + figure(value("network.upload"), rateText),
    },
    {
        name: "disk", ...rates("disk.read", "disk.write", ["read", "written"]),
        figure: value => figure(value("disk.read"), rateText),
        second: value => figure(value("disk.write"), rateText),
    },
    {
        name: "temperature",
        level: "cpuHeat",
        figure: value => figure([value("cpu.temperature"), value("gpu.temperature")].find(Number.isFinite), temperatureText),
        low: 20,
        high: curves => Math.max(100, Math.ceil(curves.most() / 20) * 20),
        label: temperatureText,
        series: has => [["cpu", "heat"], ["gpu", "gpu"]].filter(([name]) => has(name + ".temperature")).map(([name, ink]) => ({
            track: name + ".temperature", name, ink, format: temperatureText, style: "line"})),
    },
    {
        name: "power",
        figure: value => figure(value("power"), wattsText),
        detail: (value, reply) => field(reply, "power", "systemWatts") > 0 ? "" : say("partPower"),
        label: wattsText,
        high: curves => roundScale(curves.most(), 5),
        series: has => [{track: "power", name: "whole", ink: "energy", format: wattsText, style: "area"},
            ...[["cpu", "performance"], ["gpu", "gpu"], ["ane", "ane"], ["dram", "memory"], ["display", "display"]]
                .filter(([part]) => has("power." + part))
                .map(([part, ink]) => ({track: "power." + part, name: part, ink, format: wattsText, style: "line"}))],
    },
    {
        name: "load",
        level: "load",
        figure: value => figure(value("load"), percentText),
        detail: (value, reply) => {
            const averages = list(reply.facts?.loadAverages, 3).map(number);
            return averages.length === 3 ? say("averages", averages.map(average => figure(average, x => x.toFixed(2))).join(" ")) : "";
        },
        series: () => [{track: "load", name: "load", ink: "load", format: percentText, style: "area"}],
    },
    {
        name: "battery",
        level: "battery",
        figure: value => figure(value("battery"), percentText),
        detail: (value, reply) => batteryState(reply),
        series: has => [{track: "battery", name: "charge", ink: "efficiency", format: percentText, style: "area"},
            ...has("battery.power") ? [{track: "battery.power", name: "flow", ink: "energy", format: wattsText, style: "line", own: 100}] : []],
    },
];
const seriesNames = {ane: "ANE", dram: "DRAM"};
const nameOf = series => seriesNames[series.name] ?? say(series.name);

function made(tag, className, parent) {
    const element = document.createElement(tag);
    if (className) element.className = className;
    parent?.append(element);
    return element;
}

// Touches the document only where it says something else.
function write(element, said) {
    if (element.firstChild?.data !== said) element.textContent = said;
}

function mark(element, name, value) {
    if (element.getAttribute(name) !== value) element.setAttribute(name, value);
}

class Panel {
    constructor(kind, view, changed) {
        Object.assign(this, {kind, view});
        this.element = made("article", "panel " + kind.name);
        const top = made("div", "top", this.element);
        this.title = made("h2", "", top);
        this.detail = made("p", "detail", top);
        this.figures = [made("output", "figure", top), ...kind.second ? [made("output", "figure", top)] : []];
        for (const element of this.figures) element.setAttribute("aria-live", "off");
        this.legend = made("ul", "legend", this.element);
        this.curves = kind.isCores ? new CoreRows(view) : new Curves(view);
        this.graph = new Graph(view, changed, (...all) => this.curves.paint(...all), (...all) => this.curves.marks(...all));
        const body = made("div", "body", this.element);
        body.append(this.graph.element);
        this.details = made("details", "values", body);
        this.summary = made("summary", "", this.details);
        this.summary.textContent = "≡";
        this.table = made("table", "", made("div", "scroll", this.details));
        this.details.addEventListener("toggle", () => this.fillTable());
    }

    end() {
        this.graph.end();
        this.element.remove();
    }

    // Takes over what the machine now has.
    equip(has, reply) {
        const {kind, curves} = this;
        write(this.title, say(kind.name));
        mark(this.summary, "aria-label", say("values", say(kind.name)));
        this.summary.title = say("values", say(kind.name));
        if (kind.isCores) {
            curves.cores = coresByKind(reply);
            this.element.classList.toggle("tall", curves.cores.length > 48);
            return;
        }
        const series = kind.series(has, reply);
        const signature = JSON.stringify([language, series]);
        if (signature === this.signature) return;
        this.signature = signature;
        curves.series = series;
        this.legend.replaceChildren(...series.map(one => {
            const item = made("li");
            made("i", one.own ? "own" : "", item).style.background = `var(--${one.ink})`;
            made("span", "", item).textContent = nameOf(one);
            one.shown = made("b", "", item);
            one.extra = made("span", "extra", item);
            return item;
        }));
    }

    draw(reply) {
        const {kind, curves} = this;
        if (!kind.isCores) {
            curves.label = kind.label ?? percentText;
            curves.low = kind.low ?? 0;
            curves.high = kind.high?.(curves, reply) ?? 1;
        }
        this.graph.draw();
        if (this.details.open) this.fillTable();
    }

    // The figures in words: those at `column`, or the latest where there is none.
    show(reply, column) {
        const {kind, view} = this;
        const value = track => column === undefined ? number(reply.values[track]) : view.valueOf(track, column);
        write(this.detail, kind.isCores ? this.coreText(value) : kind.detail?.(value, reply) || "");
        write(this.figures[0], kind.figure(value));
        if (kind.second) write(this.figures[1], kind.second(value));
        const level = reply.levels?.[kind.level];
        this.figures[0].dataset.level = column === undefined && ["warning", "critical"].includes(level) ? level : "";
        for (const series of this.curves.series ?? []) {
            write(series.shown, figure(value(series.track), series.format));
            const beside = series.beside ? some(value(series.beside), frequencyText)
                : series.hasPeak ? say("peak", rateText(this.peakOf(series.track))) : "";
            write(series.extra, beside);
        }
        mark(this.graph.element, "aria-label", this.words());
    }

    words() {
        const items = [...this.legend.children].map(item => [...item.children].slice(1).map(part => part.textContent).filter(Boolean).join(" "));
        return [this.title.textContent, ...this.figures.map(element => element.textContent), this.detail.textContent, ...items].filter(Boolean).join(", ");
    }

    peakOf(track) {
        const {greatest} = this.view.column(track);
        let most = 0;
        for (let i = 0; i < this.view.count; ++i) most = Math.max(most, greatest[i]);
        return most;
    }

    // Of the processor that people point at, else the busiest.
    coreText() {
        const {view, graph, curves} = this;
        if (!curves.cores.length) return "";
        const column = Number.isNaN(view.cursor) ? view.count - 1 : view.columnAt(view.cursor);
        const use = core => view.valueOf("core." + core.index, column);
        const {plot} = graph, row = Math.floor((graph.row - plot.top) / plot.height * curves.cores.length);
        const isPointed = !Number.isNaN(view.cursor) && graph.element.matches(":hover") && curves.cores[row];
        const core = isPointed ? curves.cores[row] : curves.cores.reduce((most, one) => use(one) > use(most) ? one : most);
        return core.label + " " + figure(use(core), percentText);
    }

    // The newest columns as a table.
    fillTable() {
        if (!this.details.open) return;
        const {view, curves} = this;
        const series = this.kind.isCores ? curves.cores.map(core => ({track: "core." + core.index, title: core.label, format: percentText}))
            : curves.series.map(one => ({...one, title: nameOf(one)}));
        const headings = made("tr");
        for (const said of [say("time"), ...series.map(one => one.title)]) made("th", "", headings).textContent = said;
        const rows = [made("thead")];
        rows[0].append(headings);
        const body = made("tbody");
        for (let column = view.count - 1; column >= Math.max(0, view.count - 120); --column) {
            const row = made("tr", "", body), time = view.timeOf(column);
            row.dataset.time = time;
            made("th", "", row).textContent = dateText(time, view.width >= 60 ? "dayAndMinute" : "clock");
            for (const {track, format} of series) made("td", "", row).textContent = figure(view.valueOf(track, column), format);
        }
        this.table.replaceChildren(...rows, body);
    }
}

// Columns of equal width that leave no hole: the first panels take two where the last row would not be full.
function arrange(container, panels) {
    const width = container.clientWidth, most = Math.max(1, Math.floor((width + 14) / 344)), fewest = Math.ceil((width + 14) / 620);
    const cells = panels.length + panels.filter(panel => panel.element.classList.contains("tall")).length;
    let columns = most;
    const waste = count => (count - cells % count) % count;
    for (let count = most; count >= fewest; --count) {
        if (waste(count) < waste(columns)) columns = count;
    }
    container.style.gridTemplateColumns = `repeat(${columns}, minmax(0, 1fr))`;
    const spare = columns > 1 ? waste(columns) : 0;
    let given = 0;
    for (const panel of panels) {
        const isWide = given < spare && !panel.element.classList.contains("tall");
        if (isWide) ++given;
        panel.element.classList.toggle("wide", isWide);
    }
}
