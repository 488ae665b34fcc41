// A graph: curves on one canvas, what people point at on another above it. All graphs point at the same time.
const gutter = 56, axisHeight = 18, head = 7;
const inks = {};

function takeInks() {
    const probe = made("i", "", document.body);
    for (const name of ["text", "dim", "line", "surface", "load", "performance", "efficiency", "memory", "wired",
                        "gpu", "outgoing", "heat", "energy"]) {
        probe.style.color = `var(--${name})`;
        inks[name] = getComputedStyle(probe).color;
    }
    probe.remove();
}

const steps = [1, 2, 5, 10, 15, 30, 60, 120, 300, 600, 900, 1800, 3600, 7200, 10800, 21600, 43200, 86400, 172800, 259200];
const zone = time => new Date(time * 1000).getTimezoneOffset() * 60;

// Round times of the day that stand far enough apart.
function timeTicks(from, to, width) {
    const step = steps.find(seconds => seconds / (to - from) * width >= 74) ?? 604800;
    const ticks = [];
    const base = zone(to);
    for (let time = Math.ceil((from - base) / step) * step + base; time <= to; time += step) {
        const at = step < 3600 ? time : time + zone(time) - base;
        const isMidnight = (at - zone(at)) % 86400 === 0;
        ticks.push([at, dateText(at, isMidnight ? "day" : step < 60 ? "clock" : "minute")]);
    }
    return ticks;
}

// Calls visit(begin, end) for each stretch of columns with values that are at most `reach` apart.
function eachRun(values, count, reach, visit) {
    let begin = -1, last = -1;
    for (let i = 0; i < count; ++i) {
        if (values[i] !== values[i]) continue;
        if (last < 0 || i - last > reach) {
            if (begin >= 0) visit(begin, last);
            begin = i;
        }
        last = i;
    }
    if (begin >= 0) visit(begin, last);
}

class Graph {
    // `paint(pen, plot)` draws the curves; `ys(column)` then tells where they pass, with their colours.
    constructor(view, changed, paint, marks) {
        Object.assign(this, {view, changed, paint, marks, isSeen: false, isStale: true, width: 0, plot: {width: 1, top: 0, height: 1}});
        this.element = made("div", "graph");
        this.element.tabIndex = 0;
        mark(this.element, "role", "img");
        this.base = made("canvas", "", this.element);
        this.above = made("canvas", "", this.element);
        this.above.hidden = true;
        this.sizes = new ResizeObserver(([entry]) => this.resize(entry.contentRect));
        this.sizes.observe(this.element);
        this.sight = new IntersectionObserver(entries => {
            this.isSeen = entries.at(-1).isIntersecting;
            if (this.isSeen && this.isStale) this.draw();
        }, {rootMargin: "100px"});
        this.sight.observe(this.element);
        this.listen();
    }

    end() {
        this.sizes.disconnect();
        this.sight.disconnect();
    }

    xOf(time) {
        return (time - this.view.from) / this.view.span * this.plot.width;
    }

    xAt(column) {
        return this.xOf(this.view.timeOf(column));
    }

    timeAt(event) {
        const x = event.clientX - this.base.getBoundingClientRect().left;
        const {from, span} = this.view;
        return from + clamp(x / this.plot.width, 0, 1) * span;
    }

    listen() {
        const {element, view} = this;
        let begin = null;
        on(element, "pointerdown", event => {
            if (event.button !== 0) return;
            begin = {time: this.timeAt(event), x: event.clientX};
            element.setPointerCapture(event.pointerId);
        });
        on(element, "pointermove", event => {
            const time = this.timeAt(event);
            this.row = event.offsetY;
            view.cursor = view.timeOf(view.columnAt(time));
            const isDragged = begin && Math.abs(event.clientX - begin.x) > 5;
            view.selection = isDragged ? {from: Math.min(begin.time, time), to: Math.max(begin.time, time)} : null;
            this.changed("cursor");
        });
        on(element, "pointerup", () => {
            begin = null;
            if (!view.selection) return;
            view.zoom(view.selection.from, view.selection.to);
            this.leave("part");
        });
        on(element, "pointerleave pointercancel blur", () => {
            begin = null;
            this.leave("cursor");
        });
        on(element, "dblclick", () => view.chosen.pop() && this.leave("part"));
        on(element, "keydown", event => this.press(event));
    }

    leave(change) {
        this.view.selection = null;
        this.view.cursor = NaN;
        this.changed(change);
    }

    press(event) {
        const {view} = this;
        const moves = {ArrowLeft: -1, ArrowRight: 1, Home: -mostColumns, End: mostColumns};
        if (event.ctrlKey || event.altKey || event.metaKey) return;
        if (event.key in moves) {
            view.step(moves[event.key] * (event.shiftKey ? 10 : 1));
            this.changed("cursor", this.element);
        } else if (event.key === "+" || event.key === "=") {
            const from = clamp((view.cursor || view.to) - view.span / 4, view.from, view.to - view.span / 2);
            view.zoom(from, from + view.span / 2);
            this.changed("part");
        } else if (event.key === "-" && view.chosen.pop()) {
            this.changed("part");
        } else {
            return;
        }
        event.preventDefault();
    }

    resize({width, height}) {
        [this.width, this.height] = [Math.floor(width), Math.floor(height)];
        const scale = this.scale = window.devicePixelRatio || 1;
        for (const canvas of [this.base, this.above]) {
            [canvas.width, canvas.height] = [Math.round(this.width * scale), Math.round(this.height * scale)];
            canvas.style.width = this.width + "px";
            canvas.style.height = this.height + "px";
        }
        this.plot = {width: Math.max(1, this.width - gutter), top: head, height: Math.max(1, this.height - axisHeight - head)};
        this.draw();
    }

    penOf(canvas) {
        const pen = canvas.getContext("2d");
        pen.setTransform(this.scale, 0, 0, this.scale, 0, 0);
        pen.clearRect(0, 0, this.width, this.height);
        pen.font = "10.5px system-ui, sans-serif";
        return pen;
    }

    draw() {
        this.isStale = !this.isSeen || this.width < gutter || this.height < axisHeight;
        if (this.isStale) return;
        const pen = this.penOf(this.base), {plot} = this;
        this.drawTimes(pen, plot);
        this.paint(pen, plot, this);
        this.point();
    }

    drawTimes(pen, plot) {
        pen.fillStyle = inks.dim;
        pen.textBaseline = "alphabetic";
        pen.textAlign = "center";
        for (const [time, label] of timeTicks(this.view.from, this.view.to, plot.width)) {
            const x = this.xOf(time), half = pen.measureText(label).width / 2;
            if (x - half >= 0 && x + half <= this.width) pen.fillText(label, x, this.height - 4);
            pen.fillStyle = inks.line;
            pen.fillRect(Math.round(x), plot.top + plot.height, 1, 3);
            pen.fillStyle = inks.dim;
        }
    }

    // The line at what people point at, and the part that they drag over.
    point() {
        const {view, plot} = this, column = view.pointed, isEmpty = column === undefined;
        if (!this.isSeen || (isEmpty && !this.isPointed)) return;
        this.isPointed = !isEmpty;
        this.above.hidden = isEmpty;  // a layer less for the browser to put together
        if (isEmpty) return;
        const pen = this.penOf(this.above);
        if (view.selection) {
            const x = this.xOf(view.selection.from);
            pen.globalAlpha = 0.16;
            pen.fillStyle = inks.text;
            pen.fillRect(x, plot.top, this.xOf(view.selection.to) - x, plot.height);
            pen.globalAlpha = 1;
        }
        const x = clamp(this.xAt(column), 0, plot.width);
        pen.fillStyle = inks.dim;
        pen.fillRect(Math.round(x), plot.top, 1, plot.height);
        for (const [y, ink] of this.marks(column, plot)) {
            if (!(y >= 0)) continue;
            pen.beginPath();
            pen.arc(x, y, 3.5, 0, 7);
            pen.fillStyle = inks[ink];
            pen.fill();
            pen.lineWidth = 1.5;
            pen.strokeStyle = inks.surface;
            pen.stroke();
        }
        const label = view.labelOf(column);
        pen.font = "600 10.5px system-ui, sans-serif";
        const half = pen.measureText(label).width / 2 + 5;
        const middle = clamp(x, half, this.width - half);
        pen.fillStyle = inks.text;
        pen.beginPath();
        pen.roundRect(middle - half, this.height - axisHeight + 1, half * 2, axisHeight - 2, 4);
        pen.lineWidth = 6;
        pen.strokeStyle = inks.surface;
        pen.stroke();
        pen.fill();
        pen.fillStyle = inks.surface;
        pen.textAlign = "center";
        pen.fillText(label, middle, this.height - 5);
    }
}

// Curves between a least and a greatest value. A series: {track, ink, isFilled, isStacked, isDown, own}; stacked ones stand
// on the one before, `isDown` hangs one from the middle, `own` is the greatest value of a scale of its own.
class Curves {
    constructor(view) {
        this.view = view;
        this.series = [];
        this.low = 0;
        this.high = 1;
        this.format = percentText;
    }

    // The greatest value that any of them has in the columns shown.
    most() {
        return Math.max(0, ...this.series.map(series => this.view.most(series.track)));
    }

    yOf(series, value) {
        const {plot} = this, high = series.own ?? this.high, low = series.own ? 0 : this.low;
        const share = clamp((value - low) / (high - low), 0, 1.02);
        if (!this.isMirrored) return plot.top + plot.height * (1 - share);
        return plot.top + plot.height / 2 * (series.isDown ? 1 + share : 1 - share);
    }

    paint(pen, plot, graph) {
        Object.assign(this, {pen, plot, graph, isMirrored: this.series.some(series => series.isDown)});
        this.drawScale();
        let below = null;
        for (const series of this.series) {
            this.drawCurve(series, series.isStacked ? below : null);
            if (series.isStacked) below = series;
        }
    }

    // The heights of a series' values in each column, kept under `name`.
    place(series, name, values) {
        const ys = series[name] ??= new Float32Array(mostColumns + 8);
        for (let i = 0; i < this.view.count; ++i) ys[i] = values[i] === values[i] ? this.yOf(series, values[i]) : NaN;
        return ys;
    }

    // What its means are on top of the series `below`.
    stack(series, means, below) {
        series.sums ??= new Float32Array(mostColumns + 8);
        for (let i = 0; i < this.view.count; ++i) {
            const floor = below ? below.sums[i] : NaN;
            series.sums[i] = means[i] === means[i] ? means[i] + (floor || 0) : floor;
        }
        return series.sums;
    }

    drawCurve(series, below) {
        const {pen, plot, view} = this, {mean, least: lows, greatest} = view.column(series.track);
        const ys = this.place(series, "ys", series.isStacked ? this.stack(series, mean, below) : mean);
        pen.save();
        pen.beginPath();
        pen.rect(0, plot.top - 2, plot.width + 1, plot.height + 4);
        pen.clip();
        pen.fillStyle = pen.strokeStyle = inks[series.ink];
        if (!series.isStacked && view.width > 1) {
            this.fill(this.place(series, "upper", greatest), this.place(series, "lower", lows), 0.2);
        }
        if (series.isFilled) this.fill(ys, below?.ys, series.isStacked ? 0.42 : 0.16);
        const line = new Path2D();
        eachRun(ys, view.count, view.reach, (begin, end) => this.follow(line, ys, begin, end));
        pen.globalAlpha = series.own ? 0.75 : 1;
        pen.lineWidth = series.own ? 1 : 1.5;
        pen.lineJoin = "bevel";
        pen.setLineDash(series.own ? [4, 3] : []);
        pen.stroke(line);
        pen.restore();
    }

    // Between two heights, or down to the axis.
    fill(upper, lower, alpha) {
        const {pen, plot, view, graph} = this, path = new Path2D();
        const bottom = plot.top + plot.height / (this.isMirrored ? 2 : 1);
        eachRun(upper, view.count, view.reach, (begin, end) => {
            this.follow(path, upper, begin, end);
            for (let i = end; i >= begin; --i) {
                if (upper[i] === upper[i]) path.lineTo(graph.xAt(i), lower?.[i] || bottom);
            }
            path.closePath();
        });
        pen.globalAlpha = alpha;
        pen.fill(path);
    }

    // Lays the path through the columns; one that stands alone becomes a dot.
    follow(path, ys, begin, end) {
        const half = begin === end ? 0.75 : 0;
        path.moveTo(this.graph.xAt(begin) - half, ys[begin]);
        for (let i = begin; i <= end; ++i) {
            if (ys[i] === ys[i]) path.lineTo(this.graph.xAt(i) + half, ys[i]);
        }
    }

    drawScale() {
        const {pen, plot, low, high} = this, middle = (low + high) / 2;
        const levels = this.isMirrored ? [high, 0, high] : [high, middle, low];
        pen.textAlign = "left";
        levels.forEach((value, i) => {
            const y = Math.round(plot.top + plot.height * i / 2);
            pen.fillStyle = inks.line;
            pen.fillRect(0, y, plot.width, 1);
            pen.fillStyle = inks.dim;
            pen.fillText(value ? this.format(value).replace(/\.0+ /, " ") : this.format(0).replace(/^0\S* .*/, "0"), plot.width + 6, y + (i === 2 ? 1 : 4));
        });
    }

    marks(column) {
        return this.series.map(series => [series.ys?.[column], series.ink]);
    }
}

// Every processor a row: its use as a small curve where there is room, else as shades; beside it its use now.
class CoreRows {
    constructor(view) {
        this.view = view;
        this.cores = [];  // series of Curves
        this.uses = [];   // now, in the kernel's order
        this.curves = new Curves(view);
        this.shades = new Map();
        this.picture = made("canvas");
    }

    // The colour's shades by half percents, as the pixels of a picture.
    shadesOf(ink) {
        if (!this.shades.has(inks[ink])) {
            const [red, green, blue] = inks[ink].match(/\d+/g);
            this.shades.set(inks[ink], Uint32Array.from({length: 201},
                (_, i) => ((18 + 237 * (i / 200) ** 0.85) << 24 | blue << 16 | green << 8 | red) >>> 0));
        }
        return this.shades.get(inks[ink]);
    }

    paint(pen, plot, graph) {
        const {cores, view} = this;
        const height = plot.height / Math.max(1, cores.length);
        if (height < 13) this.drawShades(pen, plot, graph);
        const gap = height >= 5 ? 1 : 0;
        pen.textAlign = "left";
        cores.forEach((core, i) => {
            const {index, name, ink} = core, y = plot.top + i * height, begin = plot.width + (height >= 10 ? 28 : 6);
            pen.fillStyle = height < 13 ? inks.surface : inks.line;
            if (gap) pen.fillRect(0, Math.round(y), plot.width, gap);
            if (height >= 13) {
                Object.assign(this.curves, {pen, graph, plot: {...plot, top: y + 2, height: height - 2}});
                this.curves.drawCurve(core);
            }
            pen.fillStyle = inks.dim;
            if (height >= 10) pen.fillText(name, plot.width + 6, y + height / 2 + 4);
            const width = graph.width - begin;
            pen.fillStyle = inks.line;
            pen.fillRect(begin, y + gap, width, height - gap);
            pen.fillStyle = inks[ink];
            pen.fillRect(begin, y + gap, width * (this.uses[index] || 0), height - gap);
        });
    }

    drawShades(pen, plot, graph) {
        const {view, cores, picture} = this;
        [picture.width, picture.height] = [view.count, cores.length];
        const inside = picture.getContext("2d"), image = inside.createImageData(view.count, cores.length);
        const pixels = new Uint32Array(image.data.buffer);
        cores.forEach(({track, ink}, row) => {
            const shades = this.shadesOf(ink);
            for (let i = 0; i < view.count; ++i) pixels[row * view.count + i] = shades[Math.round(view.valueOf(track, i) * 200)];
        });
        inside.putImageData(image, 0, 0);
        pen.save();
        pen.beginPath();
        pen.rect(0, plot.top, plot.width + 1, plot.height);
        pen.clip();
        pen.imageSmoothingEnabled = false;
        const begin = graph.xOf(view.timeOf(0) - view.width / 2), end = graph.xOf(view.timeOf(view.count - 1) + view.width / 2);
        pen.drawImage(picture, begin, plot.top, end - begin, plot.height);
        pen.restore();
    }

    marks() {
        return [];
    }
}
