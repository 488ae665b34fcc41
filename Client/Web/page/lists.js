// The rankings and what else the machine tells: cards with a table each.
const categories = {
    cpu: value => percentText(value / 100), gpu: percentText, memory: bytesText, disk: rateText,
    network: value => value.toFixed(0), power: wattsText,
};

// As many children as there are items, each filled by `fill(child, item)`.
function fillRows(parent, items, make, fill) {
    while (parent.children.length > items.length) parent.lastChild.remove();
    while (parent.children.length < items.length) parent.append(make());
    items.forEach((item, i) => fill(parent.children[i], item));
}

class Cards {
    constructor(element) {
        this.element = element;
        this.cards = {};
    }

    // A card, shown from its first row on, in the order in which they are filled. `read(item)` tells its cells, and the
    // share of its bar.
    fill(name, columns, items, read, title = say(name)) {
        if (!this.cards[name] && !items.length) return;
        const card = this.cards[name] ??= this.make(name, columns);
        this.element.append(...card.element.isConnected ? [] : [card.element]);
        write(card.title, title);
        fillRows(card.body, items, () => {
            const row = made("tr");
            for (const column of columns) made("td", column, row);
            return row;
        }, (row, item) => {
            const [cells, share, level] = read(item), shown = JSON.stringify([cells, share]);
            if (row.shown === shown) return;
            row.shown = shown;
            cells.forEach((said, i) => write(row.children[i], said));
            row.title = cells[0];
            row.style.setProperty("--part", (share * 100 || 0).toFixed(0) + "%");
            row.dataset.level = level ?? "";
        });
    }

    make(name, columns) {
        const element = made("article", "card " + name), title = made("h2", "", element), table = made("table", "", element);
        for (const column of columns) made("col", column, table);
        return {element, title, body: made("tbody", "", table)};
    }
}

function showRankings(cards, reply, hasGraphics) {
    for (const name in categories) {
        const entries = list(reply.sample?.processes?.[name], 10).map(entry => ({...entry, value: number(entry?.value)}));
        const title = say(name === "network" ? "sockets" : name);
        const most = Math.max(...entries.map(entry => entry.value || 0));
        cards.fill(name, ["name", "pid", "value"], name === "gpu" && !hasGraphics ? [] : entries, entry =>
            [[text(entry.name), figure(number(entry.pid), x => x.toFixed(0)), figure(entry.value, categories[name])], entry.value / most],
            joined([title, name === "gpu" && say("estimate")]));
    }
}

function showFacts(cards, reply) {
    const facts = reply.facts ?? {}, ip = reply.sample?.ip ?? {};
    const received = field(reply, "network", "totalDownloaded"), sent = field(reply, "network", "totalUploaded");
    const pairs = {
        model: text(facts.model), processor: text(facts.processor), system: text(facts.system),
        uptime: some(number(facts.uptime), uptimeText), loadAverages: averagesText(reply), address: text(ip.localIPv4),
        publicAddress: joined([text(ip.publicIP), text(ip.regionName)]), tunnel: text(ip.utunGateway),
        proxy: ip.proxyDetected === true ? "✓" : "",
        since: received + sent > 0 ? `↓ ${bytesText(received)}  ↑ ${bytesText(sent)}` : "",
        version: text(reply.version),
        sampling: some(number(reply.interval), seconds => say("seconds", Number(seconds.toFixed(2)))),
    };
    cards.fill("machine", ["key", "value"], Object.entries(pairs).filter(([, value]) => value),
        ([name, value]) => [[say(name), value]]);
    cards.fill("space", ["path", "value"], list(facts.fileSystems, 40), system => {
        const total = number(system?.totalBytes), free = number(system?.freeBytes), share = free / total;
        const level = share < 0.05 ? "critical" : share < 0.1 ? "warning" : "";
        return [[text(system?.path), total > 0 ? say("free", figure(free, bytesText), bytesText(total)) : ""], 1 - share, level];
    });
    for (const [name, items, marks] of [["drives", facts.drives, [say("R"), say("W")]], ["links", facts.interfaces, "↓↑"]]) {
        cards.fill(name, ["path", "value", "value"], list(items, 40), entry => [[text(entry?.name),
            marks[0] + " " + figure(number(entry?.in), rateText), marks[1] + " " + figure(number(entry?.out), rateText)]]);
    }
}
