// A graph: curves on one canvas, what people point at on another above it. All graphs point at the same time.
const gutter = 54, axisHeight = 18, head = 7;
const inks = {};

function takeInks() {
    const style = getComputedStyle(document.documentElement);
    for (const name of ["text", "dim", "line", "surface", "load", "performance", "efficiency", "other", "memory", "wired",
                        "compressed", "swap", "gpu", "incoming", "outgoing", "heat", "energy", "ane", "display"]) {
        inks[name] = style.getPropertyValue("--" + name).trim();
    }
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
    // `paint(context, plot)` draws the curves; `ys(column)` then tells where they pass, with their colours.
    constructor(view, changed, paint, marks) {
        Object.assign(this, {view, changed, paint, marks, isSeen: false, isStale: true, width: 0, height: 0});
        this.element = document.createElement("div");
        this.element.className = "graph";
        this.element.tabIndex = 0;
        this.element.setAttribute("role", "img");
        this.base = this.element.appendChild(document.createElement("canvas"));
        this.above = this.element.appendChild(document.createElement("canvas"));
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

    get plot() {
        return {width: Math.max(1, this.width - gutter), top: head, height: Math.max(1, this.height - axisHeight - head)};
    }

    xOf(time) {
        return (time - this.view.from) / this.view.span * this.plot.width;
    }

    timeAt(event) {
        const x = event.clientX - this.base.getBoundingClientRect().left;
        const {from, span} = this.view;
        return from + Math.min(1, Math.max(0, x / this.plot.width)) * span;
    }

    listen() {
        const {element, view} = this;
        let begin = null;
        element.addEventListener("pointerdown", event => {
            if (event.button !== 0) return;
            begin = {time: this.timeAt(event), x: event.clientX};
            element.setPointerCapture(event.pointerId);
        });
        element.addEventListener("pointermove", event => {
            const time = this.timeAt(event);
            this.row = event.offsetY;
            view.cursor = view.timeOf(view.columnAt(time));
            const isDragged = begin && Math.abs(event.clientX - begin.x) > 5;
            view.selection = isDragged ? {from: Math.min(begin.time, time), to: Math.max(begin.time, time)} : null;
            this.changed("cursor");
        });
        element.addEventListener("pointerup", () => {
            begin = null;
            if (!view.selection) return;
            view.zoom(view.selection.from, view.selection.to);
            this.leave("part");
        });
        for (const name of ["pointerleave", "pointercancel", "blur"]) {
            element.addEventListener(name, () => {
                begin = null;
                this.leave("cursor");
            });
        }
        element.addEventListener("dblclick", () => {
            if (view.chosen.pop()) this.leave("part");
        });
        element.addEventListener("keydown", event => this.press(event));
    }

    leave(change) {
        this.view.selection = null;
        this.view.cursor = NaN;
        this.changed(change);
    }

    press(event) {
        const {view} = this;
        const moves = {ArrowLeft: -1, ArrowRight: 1, PageUp: -10, PageDown: 10, Home: -mostColumns, End: mostColumns};
        if (event.ctrlKey || event.altKey || event.metaKey) return;
        if (event.key in moves) {
            view.step(moves[event.key] * (event.shiftKey ? 10 : 1));
            this.changed("cursor", this.element);
        } else if (event.key === "+" || event.key === "=") {
            const middle = Number.isNaN(view.cursor) ? view.to - view.span / 4 : view.cursor;
            const from = Math.max(view.from, Math.min(middle - view.span / 4, view.to - view.span / 2));
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
        this.draw();
    }

    context(canvas) {
        const context = canvas.getContext("2d");
        context.setTransform(this.scale, 0, 0, this.scale, 0, 0);
        context.clearRect(0, 0, this.width, this.height);
        context.font = "10.5px system-ui, sans-serif";
        return context;
    }

    draw() {
        this.isStale = !this.isSeen || this.width < gutter || this.height < axisHeight;
        if (this.isStale) return;
        const context = this.context(this.base), {plot} = this;
        this.drawTimes(context, plot);
        this.paint(context, plot, this);
        this.point();
    }

    drawTimes(context, plot) {
        context.fillStyle = inks.dim;
        context.textBaseline = "alphabetic";
        context.textAlign = "center";
        for (const [time, label] of timeTicks(this.view.from, this.view.to, plot.width)) {
            const x = this.xOf(time), half = context.measureText(label).width / 2;
            if (x - half >= 0 && x + half <= this.width) context.fillText(label, x, this.height - 4);
            context.fillStyle = inks.line;
            context.fillRect(Math.round(x), plot.top + plot.height, 1, 3);
            context.fillStyle = inks.dim;
        }
    }

    // The line at what people point at, and the part that they drag over.
    point() {
        const {view, plot} = this;
        const isEmpty = Number.isNaN(view.cursor) && !view.selection;
        if (!this.isSeen || (isEmpty && !this.isPointed)) return;
        const context = this.context(this.above);
        this.isPointed = !isEmpty;
        if (isEmpty) return;
        if (view.selection) {
            const x = this.xOf(view.selection.from);
            context.globalAlpha = 0.16;
            context.fillStyle = inks.text;
            context.fillRect(x, plot.top, this.xOf(view.selection.to) - x, plot.height);
            context.globalAlpha = 1;
        }
        const column = view.columnAt(view.cursor);
        const x = Math.min(plot.width, Math.max(0, this.xOf(view.timeOf(column))));
        context.fillStyle = inks.dim;
        context.fillRect(Math.round(x), plot.top, 1, plot.height);
        for (const [y, ink] of this.marks(column, plot)) {
            if (!(y >= 0)) continue;
            context.beginPath();
            context.arc(x, y, 3.5, 0, 7);
            context.fillStyle = inks[ink];
            context.fill();
            context.lineWidth = 1.5;
            context.strokeStyle = inks.surface;
            context.stroke();
        }
        this.drawTag(context, x, dateText(view.timeOf(column), view.width >= 60 ? "dayAndMinute" : "clock"));
    }

    drawTag(context, x, label) {
        context.font = "600 10.5px system-ui, sans-serif";
        const half = context.measureText(label).width / 2 + 5;
        const middle = Math.min(this.width - half, Math.max(half, x));
        context.fillStyle = inks.text;
        context.beginPath();
        context.roundRect(middle - half, this.height - axisHeight + 1, half * 2, axisHeight - 2, 4);
        context.fill();
        context.fillStyle = inks.surface;
        context.textAlign = "center";
        context.fillText(label, middle, this.height - 5);
    }
}

// Curves between a least and a greatest value. A series: {track, ink, style, isDown, own}; of `style` "area" (filled down
// to the axis), "stack" (on top of the one before) or "line"; `isDown` hangs it from the middle; `own` is a scale of its
// own, for a thin line.
class Curves {
    constructor(view) {
        this.view = view;
        this.series = [];
        this.low = 0;
        this.high = 1;
        this.label = percentText;
    }

    get isMirrored() {
        return this.series.some(series => series.isDown);
    }

    // The greatest value that any of them has in the columns shown.
    most() {
        let most = 0;
        for (const {track} of this.series) {
            const {greatest} = this.view.column(track);
            for (let i = 0; i < this.view.count; ++i) most = Math.max(most, greatest[i]);
        }
        return most;
    }

    yOf(series, value, plot) {
        const high = series.own ?? this.high, low = series.own ? 0 : this.low;
        const share = Math.min(1.02, Math.max(0, (value - low) / (high - low)));
        if (!this.isMirrored) return plot.top + plot.height * (1 - share);
        return plot.top + plot.height / 2 * (series.isDown ? 1 + share : 1 - share);
    }

    paint(context, plot, graph) {
        this.drawScale(context, plot);
        let below = null;
        for (const series of this.series) {
            const ys = series.ys ??= new Float32Array(mostColumns + 8);
            const {mean} = this.view.column(series.track);
            const isStacked = series.style === "stack";
            const sums = isStacked ? series.sums ??= new Float32Array(mostColumns + 8) : mean;
            for (let i = 0; i < this.view.count; ++i) {
                if (isStacked) sums[i] = mean[i] + (below?.sums[i] || 0);
                ys[i] = sums[i] === sums[i] ? this.yOf(series, sums[i], plot) : NaN;
            }
            this.drawCurve(context, plot, graph, series, isStacked ? below?.ys : null);
            if (isStacked) below = series;
        }
    }

    drawCurve(context, plot, graph, series, floor) {
        const {view} = this;
        const bottom = this.isMirrored ? plot.top + plot.height / 2 : plot.top + plot.height;
        context.save();
        context.beginPath();
        context.rect(0, plot.top - 2, plot.width + 1, plot.height + 4);
        context.clip();
        if (series.style !== "stack" && (view.period > 1 || view.group > 1)) this.drawBand(context, plot, graph, series);
        context.fillStyle = context.strokeStyle = inks[series.ink];
        const line = new Path2D(), area = new Path2D();
        eachRun(series.ys, view.count, view.reach, (begin, end) => {
            this.follow(line, graph, series.ys, begin, end);
            if (series.style === "line") return;
            this.follow(area, graph, series.ys, begin, end);
            for (let i = end; i >= begin; --i) {
                if (floor || i === end || i === begin) area.lineTo(graph.xOf(view.timeOf(i)), floor && floor[i] === floor[i] ? floor[i] : bottom);
            }
            area.closePath();
        });
        context.globalAlpha = series.style === "stack" ? 0.42 : 0.16;
        context.fill(area);
        context.globalAlpha = series.own ? 0.75 : 1;
        context.lineWidth = series.own ? 1 : 1.5;
        context.lineJoin = "round";
        context.setLineDash(series.own ? [4, 3] : []);
        context.stroke(line);
        context.restore();
    }

    // Lays the path through the columns; one that stands alone becomes a dot.
    follow(path, graph, ys, begin, end) {
        let x = graph.xOf(this.view.timeOf(begin)) - (begin === end ? 0.75 : 0);
        path.moveTo(x, ys[begin]);
        if (begin === end) path.lineTo(x + 1.5, ys[begin]);
        for (let i = begin + 1; i <= end; ++i) {
            if (ys[i] !== ys[i]) continue;
            x = graph.xOf(this.view.timeOf(i));
            path.lineTo(x, ys[i]);
        }
    }

    drawBand(context, plot, graph, series) {
        const {view} = this, {mean, least: low, greatest} = view.column(series.track);
        context.fillStyle = inks[series.ink];
        context.globalAlpha = 0.2;
        const band = new Path2D();
        eachRun(mean, view.count, view.reach, (begin, end) => {
            band.moveTo(graph.xOf(view.timeOf(begin)), this.yOf(series, greatest[begin], plot));
            for (let i = begin + 1; i <= end; ++i) {
                if (mean[i] === mean[i]) band.lineTo(graph.xOf(view.timeOf(i)), this.yOf(series, greatest[i], plot));
            }
            for (let i = end; i >= begin; --i) {
                if (mean[i] === mean[i]) band.lineTo(graph.xOf(view.timeOf(i)), this.yOf(series, low[i], plot));
            }
            band.closePath();
        });
        context.fill(band);
        context.globalAlpha = 1;
    }

    drawScale(context, plot) {
        const {low, high} = this, middle = (low + high) / 2;
        const levels = this.isMirrored ? [high, 0, high] : [high, middle, low];
        context.textAlign = "left";
        levels.forEach((value, i) => {
            const y = Math.round(plot.top + plot.height * i / 2);
            context.fillStyle = inks.line;
            context.fillRect(0, y, plot.width, 1);
            context.fillStyle = inks.dim;
            context.fillText(this.label(value), plot.width + 6, y + (i === 2 ? 1 : 4));
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
        this.cores = [];  // {index, label, ink}
        this.shades = new Map();
        this.picture = document.createElement("canvas");
    }

    // The colour's shades by half percents, as the pixels of a picture.
    shadesOf(ink) {
        if (!this.shades.has(inks[ink])) {
            const [red, green, blue] = inks[ink].match(/\w\w/g).map(part => parseInt(part, 16));
            this.shades.set(inks[ink], Uint32Array.from({length: 201},
                (_, i) => ((18 + 237 * (i / 200) ** 0.85) << 24 | blue << 16 | green << 8 | red) >>> 0));
        }
        return this.shades.get(inks[ink]);
    }

    paint(context, plot, graph) {
        const {cores, view} = this;
        const height = plot.height / Math.max(1, cores.length);
        if (height >= 13) this.drawCurves(context, plot, graph, height);
        else this.drawShades(context, plot, graph);
        const gap = height >= 5 ? 1 : 0;
        context.textAlign = "left";
        cores.forEach(({index, label, ink}, i) => {
            const y = plot.top + i * height, begin = plot.width + (height >= 10 ? 28 : 6);
            if (height < 13 && gap) {
                context.fillStyle = inks.surface;
                context.fillRect(0, y - 0.5, plot.width + 1, gap);
            }
            context.fillStyle = inks.dim;
            if (height >= 10) context.fillText(label, plot.width + 6, y + height / 2 + 4);
            const width = graph.width - begin;
            context.fillStyle = inks.line;
            context.fillRect(begin, y + gap, width, height - gap);
            context.fillStyle = inks[ink];
            context.fillRect(begin, y + gap, width * (view.valueOf("core." + index, view.count - 1) || 0), height - gap);
        });
    }

    drawCurves(context, plot, graph, height) {
        const {view} = this;
        this.cores.forEach(({index, ink}, i) => {
            const bottom = plot.top + (i + 1) * height, {mean} = view.column("core." + index);
            const area = new Path2D(), line = new Path2D();
            eachRun(mean, view.count, view.reach, (begin, end) => {
                area.moveTo(graph.xOf(view.timeOf(begin)), bottom);
                for (let j = begin; j <= end; ++j) {
                    if (mean[j] !== mean[j]) continue;
                    const x = graph.xOf(view.timeOf(j)), y = bottom - mean[j] * (height - 2);
                    area.lineTo(x, y);
                    if (j === begin) line.moveTo(x, y);
                    else line.lineTo(x, y);
                }
                area.lineTo(graph.xOf(view.timeOf(end)), bottom);
            });
            context.fillStyle = inks.line;
            context.fillRect(0, Math.round(bottom), plot.width, 1);
            context.fillStyle = context.strokeStyle = inks[ink];
            context.globalAlpha = 0.3;
            context.fill(area);
            context.globalAlpha = 1;
            context.lineWidth = 1;
            context.stroke(line);
        });
    }

    drawShades(context, plot, graph) {
        const {view, cores, picture} = this;
        [picture.width, picture.height] = [view.count, cores.length];
        const inside = picture.getContext("2d"), image = inside.createImageData(view.count, cores.length);
        const pixels = new Uint32Array(image.data.buffer);
        cores.forEach(({index, ink}, row) => {
            const shades = this.shadesOf(ink), {mean} = view.column("core." + index);
            for (let i = 0, left = 0; i < view.count; ++i) {
                const isKnown = mean[i] === mean[i];
                left = isKnown ? view.reach - 1 : left - 1;  // a rare sample holds until the next
                if (isKnown) pixels[row * view.count + i] = shades[Math.round(mean[i] * 200)];
                else if (left >= 0 && i > 0) pixels[row * view.count + i] = pixels[row * view.count + i - 1];
            }
        });
        inside.putImageData(image, 0, 0);
        context.save();
        context.beginPath();
        context.rect(0, plot.top, plot.width + 1, plot.height);
        context.clip();
        context.imageSmoothingEnabled = false;
        const begin = graph.xOf(view.timeOf(0) - view.width / 2), end = graph.xOf(view.timeOf(view.count - 1) + view.width / 2);
        context.drawImage(picture, begin, plot.top, end - begin, plot.height);
        context.restore();
    }

    marks() {
        return [];
    }
}
