// The panels: which curves each shows, and what it says in figures. What a machine does not tell has no panel.
// `value(track)` is the figure at the time that people point at, else the latest; NaN where there is none.
const field = (reply, ...names) => number(names.reduce((found, name) => found?.[name], reply?.sample));
const joined = parts => parts.filter(part => part).join(" · ");
const some = (value, format) => value > 0 ? figure(value, format) : "";

const averagesText = reply => list(reply.facts?.loadAverages, 3).map(one => figure(number(one), x => x.toFixed(2))).join(" ");

const kindNames = ["performance", "efficiency", "other"];
const kindLetters = {performance: "P", efficiency: "E", other: "C"};
const kindInk = kind => kind === "other" ? "load" : kind;

// The use and the kind of each processor, in the kernel's order.
const coreUses = reply => list(reply.sample?.cpu?.perCoreUsage, 4096).map(number);

function coreKinds(reply) {
    return list(reply?.sample?.cpu?.coreKinds, 4096).map(kind => {
        const name = kind && typeof kind === "object" ? Object.keys(kind)[0] : "";
        return name === "performance" || name === "efficiency" ? name : "other";
    });
}

// A series of each processor, by kind, and by the number that it has in its kind.
function coresByKind(reply) {
    const kinds = coreKinds(reply), present = kindNames.filter(kind => kinds.includes(kind));
    return present.flatMap(kind => {
        let next = 0;
        const letter = present.length === 1 ? "C" : kindLetters[kind];
        return kinds.flatMap((own, index) => own === kind ? area("core." + index, letter + next++, kindInk(kind), percentText, {index}) : []);
    });
}

function batteryState(reply) {
    const battery = reply?.sample?.battery;
    if (!battery) return "";
    const minutes = number(battery.timeRemainingMinutes);
    return joined([say(battery.isCharging ? "charging" : battery.onACPower ? "onAC" : "onBattery"),
                   minutes >= 0 && say(battery.isCharging ? "toFull" : "left", durationText(minutes)),
                   some(number(battery.health), share => say("health", percentText(share))),
                   some(number(battery.cycleCount), count => say("cycles", count.toFixed(0)))]);
}

// A series of Curves, with its name and how its figures read.
const line = (track, name, ink, format = percentText, more) => ({track, name, ink, format, ...more});
const area = (track, name, ink, format, more) => line(track, name, ink, format, {isFilled: true, ...more});
const rates = (down, up, names) => ({
    format: rateText,
    high: curves => roundScale(curves.most(), 1000),
    series: () => [area(down, names[0], "performance", rateText, {hasPeak: true}),
                   area(up, names[1], "outgoing", rateText, {isDown: true, hasPeak: true})],
});

const panelKinds = [
    {
        name: "cpu",
        level: "load",
        detail: (value, reply) => {
            const count = coreKinds(reply).length;
            return joined([count && say(count === 1 ? "oneCore" : "coreCount", count), some(value("cpu.temperature"), temperatureText)]);
        },
        series: has => {
            const kinds = kindNames.filter(kind => has("cpu." + kind));
            const parts = kinds.map(kind => line("cpu." + kind, kind, kindInk(kind), percentText, {beside: "cpu.clock." + kind}));
            if (parts.length > 1) return [area("cpu", "total", "load"), ...parts];
            const clock = ["performance", "efficiency"].map(kind => "cpu.clock." + kind).find(has);
            return [area("cpu", "total", "performance", percentText, {beside: clock})];
        },
    },
    {name: "cores", isCores: true, figure: () => "", series: () => []},
    {
        name: "memory",
        level: "memory",
        figure: (value, reply) => figure(value("memory") / field(reply, "memory", "totalBytes"), percentText),
        detail: (value, reply) => {
            const used = value("memory"), total = field(reply, "memory", "totalBytes");
            const pressure = {warning: "pressure", critical: "criticalPressure"}[reply.levels?.memory];
            return joined([used + total > 0 && say("of", figure(used, bytesText), figure(total, bytesText)), pressure && say(pressure)]);
        },
        format: bytesText,
        high: (curves, reply) => field(reply, "memory", "totalBytes") || roundScale(curves.most(), 2 ** 20),
        series: (has, reply) => [
            ...["app", "wired", "compressed"].map(part =>
                area("memory." + part, part, {app: "memory", wired: "wired", compressed: "load"}[part], bytesText, {isStacked: true})),
            line("swap", "swap", "outgoing", bytesText, {own: field(reply, "memory", "swapTotalBytes") || 2 ** 30})],
    },
    {
        name: "gpu",
        detail: value => some(value("gpu.temperature"), temperatureText),
        series: (has, reply) => [area("gpu", "gpu", "gpu"),
            line("gpu.clock", "clock", "dim", frequencyText, {own: field(reply, "gpu", "maxFrequencyMHz") || 3000})],
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
        format: temperatureText,
        series: () => [["cpu", "heat"], ["gpu", "gpu"]].map(([name, ink]) => line(name + ".temperature", name, ink, temperatureText)),
    },
    {
        name: "power",
        figure: value => figure(value("power"), wattsText),
        detail: (value, reply) => field(reply, "power", "systemWatts") > 0 ? "" : say("partPower"),
        format: wattsText,
        high: curves => roundScale(curves.most(), 5),
        series: () => [area("power", "whole", "energy", wattsText),
            ...[["cpu", "performance"], ["gpu", "gpu"], ["ANE", "wired"], ["DRAM", "memory"], ["display", "outgoing"]]
                .map(([part, ink]) => line("power." + part.toLowerCase(), part, ink, wattsText))],
    },
    {
        name: "load",
        level: "load",
        detail: (value, reply) => joined([averagesText(reply) && say("averages", averagesText(reply))]),
        series: () => [area("load", "load", "load")],
    },
    {
        name: "battery",
        level: "battery",
        detail: (value, reply) => batteryState(reply),
        series: () => [area("battery", "charge", "efficiency"), line("battery.power", "flow", "energy", wattsText, {own: 100})],
    },
];
const nameOf = series => texts[series.name] ? say(series.name) : series.name;

class Panel {
    constructor(kind, view, changed) {
        Object.assign(this, {kind, view});
        this.element = made("article", "panel " + (kind.second ? "pair" : kind.name));
        const top = made("div", "top", this.element);
        this.title = made("h2", "", top);
        this.detail = made("p", "detail", top);
        const usual = value => figure(value(kind.name), percentText);
        this.figures = [kind.figure ?? usual, kind.second].filter(Boolean).map(said => ({said, element: made("b", "figure", top)}));
        this.legend = made("ul", "legend", this.element);
        this.curves = kind.isCores ? new CoreRows(view) : new Curves(view);
        this.graph = new Graph(view, changed, (...all) => this.paint(...all), column => this.curves.marks(column));
        const body = made("div", "body", this.element);
        body.append(this.graph.element);
        this.details = made("details", "values", body);
        this.summary = made("summary", "", this.details);
        write(this.summary, "≡");
        this.table = made("table", "", made("div", "scroll", this.details));
        on(this.details, "toggle", () => this.fillTable());
    }

    end() {
        this.graph.end();
        this.element.remove();
    }

    // Takes over what the machine now has.
    equip(has, reply) {
        const {kind, curves} = this;
        this.reply = reply;
        write(this.title, say(kind.name));
        mark(this.summary, "aria-label", say("values", say(kind.name)));
        if (kind.isCores) {
            curves.cores = coresByKind(reply);
            curves.uses = coreUses(reply);
            this.isTall = curves.cores.length > 48;
            return;
        }
        const series = kind.series(has, reply).filter(one => has(one.track));
        const signature = JSON.stringify([language, series]);
        if (signature === this.signature) return;
        this.signature = signature;
        curves.series = series;
        this.graph.draw();
        this.legend.replaceChildren(...series.map(one => {
            const item = made("li");
            made("i", one.own ? "own" : "", item).style.background = `var(--${one.ink})`;
            write(made("span", "", item), nameOf(one));
            one.shown = made("b", "", item);
            one.extra = made("span", "extra", item);
            return item;
        }));
    }

    paint(...all) {
        const {kind, curves} = this;
        Object.assign(curves, {format: kind.format ?? percentText, low: kind.low ?? 0, high: kind.high?.(curves, this.reply) ?? 1});
        curves.paint(...all);
    }

    draw() {
        this.graph.draw();
        this.fillTable();
    }

    // The figures in words: those that people point at, else the latest.
    show(reply) {
        const {kind, view} = this, column = view.pointed;
        const value = track => column === undefined ? number(reply.values[track]) : view.valueOf(track, column);
        write(this.detail, kind.isCores ? this.coreText() : kind.detail?.(value, reply) || "");
        for (const {said, element} of this.figures) write(element, said(value, reply));
        this.figures[0].element.dataset.level = column === undefined ? text(reply.levels?.[kind.level]) : "";
        for (const series of this.curves.series ?? []) {
            write(series.shown, series.hasPeak ? "" : figure(value(series.track), series.format));
            write(series.extra, series.hasPeak ? say("peak", rateText(view.most(series.track)))
                : series.beside ? some(value(series.beside), frequencyText) : "");
        }
        const parts = this.element.querySelectorAll(".top > *, .legend span, .legend b");
        mark(this.graph.element, "aria-label", [...parts].map(part => part.textContent).filter(Boolean).join(" "));
    }

    // Of the processor that people point at, else the busiest.
    coreText() {
        const {view, graph, curves} = this;
        if (!curves.cores.length) return "";
        const use = core => view.pointed === undefined ? curves.uses[core.index] : view.valueOf(core.track, view.pointed);
        const {plot} = graph, row = Math.floor((graph.row - plot.top) / plot.height * curves.cores.length);
        const core = (graph.element.matches(":hover") && curves.cores[row])
            || curves.cores.reduce((most, one) => use(one) > use(most) ? one : most);
        return core.name + " " + figure(use(core), percentText);
    }

    // The newest columns as a table.
    fillTable() {
        if (!this.details.open) return;
        const {view, curves} = this;
        const series = curves.cores ?? curves.series;
        this.table.replaceChildren();
        const headings = made("tr", "", made("thead", "", this.table)), body = made("tbody", "", this.table);
        for (const said of [say("time"), ...series.map(nameOf)]) write(made("th", "", headings), said);
        for (let column = view.count - 1; column >= Math.max(0, view.count - 120); --column) {
            const row = made("tr", "", body);
            row.dataset.time = view.timeOf(column);
            write(made("th", "", row), view.labelOf(column));
            for (const {track, format} of series) write(made("td", "", row), figure(view.valueOf(track, column), format));
        }
    }
}

// Columns of equal width that leave no hole: the first panels take two where the last row would not be full.
function arrange(container, panels) {
    const width = container.clientWidth + 14, most = Math.max(1, Math.floor(width / 344));
    const cells = panels.length + panels.filter(panel => panel.isTall).length;
    const waste = count => (count - cells % count) % count;
    let columns = most;
    for (let count = most; count >= width / 530; --count) {
        if (waste(count) < waste(columns)) columns = count;
    }
    container.style.gridTemplateColumns = `repeat(${columns}, minmax(0, 1fr))`;
    let spare = waste(columns);
    for (const {element, isTall} of panels) {
        element.style.gridRow = isTall ? "span 2" : "";
        element.style.gridColumn = !isTall && spare-- > 0 ? "span 2" : "";
    }
}
