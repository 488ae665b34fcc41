// The figures over time, as the server hands them out: one value a slot of so many seconds, or its mean, least and
// greatest. Nothing is known of a slot that was never written.
const blockHead = 32, nameBytes = 24;

class Ring {
    constructor(Type, nothing) {
        this.Type = Type;
        this.nothing = nothing;
        this.capacity = 3840;  // more than any answer holds
        this.clear();
    }

    clear() {
        this.newest = -1;
        this.tracks = new Map();
    }

    // Its parts, each a value a slot.
    track(name, parts) {
        let found = this.tracks.get(name);
        if (!found || found.length < parts) {
            found = Array.from({length: parts}, () => new this.Type(this.capacity).fill(this.nothing));
            this.tracks.set(name, found);
        }
        return found;
    }

    // Makes room up to `slot`; what lies between is a gap.
    advance(slot) {
        if (slot <= this.newest) return;
        const first = Math.max(this.newest + 1, slot - this.capacity + 1);
        for (const parts of this.tracks.values()) {
            for (const values of parts) {
                if (slot - first + 1 >= this.capacity) values.fill(this.nothing);
                else for (let i = first; i <= slot; ++i) values[i % this.capacity] = this.nothing;
            }
        }
        this.newest = slot;
    }

    holds(slot) {
        return slot <= this.newest && slot > this.newest - this.capacity;
    }

    put(name, slot, value) {
        for (const values of this.track(name, 1)) values[slot % this.capacity] = value;
    }

    merge(block) {
        this.advance(block.first + block.count - 1);
        for (const [name, parts] of block.tracks) {
            const own = this.track(name, parts.length);
            for (let part = 0; part < own.length; ++part) {
                const from = parts[Math.min(part, parts.length - 1)];
                for (let i = 0; i < block.count; ++i) {
                    if (this.holds(block.first + i)) own[part][(block.first + i) % this.capacity] = from[i];
                }
            }
        }
    }
}

// One for each length of slots, made when first told of.
class History {
    constructor() {
        this.tiers = new Map();
    }

    tier(period) {
        if (!this.tiers.has(period)) {
            this.tiers.set(period, {values: new Ring(Float32Array, NaN), cores: new Ring(Uint8Array, 255)});
        }
        return this.tiers.get(period);
    }

    clear() {
        this.tiers.clear();
    }

    // The newest second of which anything is known; -1 before.
    get newest() {
        return this.tiers.get(1)?.values.newest ?? -1;
    }

    append(slot, values, cores) {
        const {values: ring, cores: bytes} = this.tier(1);
        ring.advance(slot);
        bytes.advance(slot);
        for (const name in values) ring.put(name, slot, number(values[name]));
        cores.forEach((share, i) => bytes.put("core." + i, slot, share >= 0 && share <= 1 ? Math.round(share * 200) : 255));
    }
}

// The answer of /api/history and /api/cores; throws where it is none.
function decodeBlock(buffer) {
    const magic = new TextDecoder("latin1").decode(new Uint8Array(buffer, 0, 8));
    const [period, parts, first, count, tracks, width] = new Uint32Array(buffer, 8, 6);
    const begin = blockHead + nameBytes * tracks;
    const isWhole = begin + tracks * parts * count * width <= buffer.byteLength;
    if (magic !== "ZQMHIST1" || !period || ![1, 3].includes(parts) || ![1, 4].includes(width) || !isWhole) throw Error("no history");
    const Type = width === 4 ? Float32Array : Uint8Array;
    const block = {period, first, count, tracks: new Map()};
    for (let i = 0; i < tracks; ++i) {
        const bytes = new Uint8Array(buffer, blockHead + nameBytes * i, nameBytes);
        const name = new TextDecoder("latin1").decode(bytes).replace(/\0.*$/, "");
        block.tracks.set(name, Array.from({length: parts},
            (_, part) => new Type(buffer, begin + (i * parts + part) * count * width, count)));
    }
    return block;
}
