// Which part of time all graphs show: the last `range` seconds, or a part that was chosen. Time goes by columns of equal
// length, each the mean of its slots between their least and greatest, so that curves stay as they are while they move.
const ranges = [60, 300, 900, 3600, 21600, 86400, 259200, 1209600];
const mostColumns = 720;
const least = 10;  // seconds that can be zoomed to

class View {
    constructor(history) {
        this.history = history;
        this.range = 300;
        this.chosen = [];  // parts zoomed to, one within the other: {from, to}
        this.period = 1;   // of the tier that the server chose for it
        this.cursor = NaN;  // the time that people point at
        this.selection = null;
        this.interval = 1;  // seconds between two samples
        this.end = 0;
        this.version = 0;
        this.columns = new Map();
        this.settle();
    }

    get part() {
        return this.chosen.at(-1);
    }

    get span() {
        return this.part ? this.part.to - this.part.from : this.range;
    }

    // Works out the columns; whether others are shown than before.
    settle(isAnew) {
        const {period, span} = this;
        const group = Math.max(1, Math.ceil(span / period / mostColumns));
        const width = group * period;
        this.offset = (width - (period > 1 ? 0 : 1)) / 2;  // from a column's begin to the time that it stands for
        const last = this.part ? Math.floor(this.part.to / width) : Math.floor((this.end + 1) / width) - 1;
        this.to = this.part ? this.part.to : last * width + this.offset;
        this.from = this.to - span;
        const first = Math.floor(this.from / width);
        const isMoved = isAnew || first !== this.first || last !== this.last || width !== this.width || span !== this.shownSpan;
        Object.assign(this, {group, width, first, last, count: last - first + 1, shownSpan: span});
        this.reach = Math.max(1, Math.ceil((period > 1 ? 1 : Math.ceil(this.interval) + 1) / group));
        this.held = Math.max(1, Math.ceil(this.interval / width));
        if (isMoved) ++this.version;
        return isMoved;
    }

    timeOf(column) {
        return (this.first + column) * this.width + this.offset;
    }

    labelOf(column) {
        return dateText(this.timeOf(column), this.width >= 60 ? "dayAndMinute" : "clock");
    }

    columnAt(time) {
        return clamp(Math.round((time - this.offset) / this.width) - this.first, 0, this.count - 1);
    }

    // The column that people point at; undefined where they point at none.
    get pointed() {
        return Number.isNaN(this.cursor) ? undefined : this.columnAt(this.cursor);
    }

    // Moves that by so many columns.
    step(columns) {
        const column = this.pointed === undefined ? this.count - 1 : this.pointed + columns;
        this.cursor = this.timeOf(clamp(column, 0, this.count - 1));
    }

    zoom(from, to) {
        const middle = (from + to) / 2, half = Math.max(least, to - from) / 2;
        this.chosen.push({from: middle - half, to: middle + half});
    }

    // {mean, least, greatest} by column.
    column(track) {
        let found = this.columns.get(track);
        if (!found) {
            const values = () => new Float32Array(mostColumns + 8);
            found = {mean: values(), least: values(), greatest: values()};
            this.columns.set(track, found);
        }
        if (found.version !== this.version) this.fill(found, track);
        return found;
    }

    fill(column, track) {
        const isCore = track.startsWith("core.");
        const tier = this.history.tier(this.period);
        const ring = isCore ? tier.cores : tier.values;
        const [means, leasts = means, greatests = leasts] = ring.tracks.get(track) ?? [];
        column.version = this.version;
        for (let i = 0; i < this.count; ++i) {
            let sum = 0, count = 0, lowest = Infinity, highest = -Infinity;
            for (let j = 0; j < this.group; ++j) {
                const slot = (this.first + i) * this.group + j, at = slot % ring.capacity;
                if (!means || !ring.holds(slot) || !(isCore ? means[at] <= 200 : means[at] === means[at])) continue;
                sum += means[at];
                ++count;
                lowest = Math.min(lowest, leasts[at]);
                highest = Math.max(highest, greatests[at]);
            }
            const scale = isCore ? 1 / 200 : 1;
            column.mean[i] = count ? sum / count * scale : NaN;
            column.least[i] = count ? lowest * scale : NaN;
            column.greatest[i] = count ? highest * scale : NaN;
        }
    }

    // The greatest value of the columns shown.
    most(track) {
        const {greatest} = this.column(track);
        let most = 0;
        for (let i = 0; i < this.count; ++i) if (greatest[i] > most) most = greatest[i];
        return most;
    }

    // What a track had at a column; where samples are rarer than columns, the last one before.
    valueOf(track, column) {
        const {mean} = this.column(track);
        for (let i = column; i > column - this.held && i >= 0; --i) {
            if (mean[i] === mean[i]) return mean[i];
        }
        return NaN;
    }
}
