// The rankings and what else the machine tells.
const categories = {cpu: value => figure(value / 100, percentText), gpu: value => figure(value, percentText),
                    memory: value => figure(value, bytesText), disk: value => figure(value, rateText),
                    network: value => figure(value, x => x.toFixed(0)), power: value => figure(value, wattsText)};
const titles = {network: "sockets"};

// As many children as there are items, each filled by `fill(child, item)`.
function fillRows(parent, items, make, fill) {
    while (parent.children.length > items.length) parent.lastChild.remove();
    while (parent.children.length < items.length) parent.append(make());
    items.forEach((item, i) => fill(parent.children[i], item));
}

function rowOf(...kinds) {
    const row = made("tr");
    for (const kind of kinds) made("td", kind, row);
    made("bdi", "", row.firstChild);
    return row;
}

class Rankings {
    constructor(element) {
        this.element = element;
        this.cards = {};
    }

    cardOf(name) {
        if (this.cards[name]) return this.cards[name];
        const element = made("article", "card ranking " + name);
        const title = made("h2", "", element);
        const table = made("table", "", element), heading = made("thead", "unseen", table), body = made("tbody", "", table);
        const titleRow = made("tr", "", heading);
        for (let i = 0; i < 3; ++i) made("th", "", titleRow);
        this.cards[name] = {element, title, titleRow, body};
        const before = Object.keys(categories).filter(other => this.cards[other]);
        this.element.append(...before.map(other => this.cards[other].element));
        return this.cards[name];
    }

    // A category is shown from its first entry on.
    show(reply) {
        for (const name in categories) {
            const entries = list(reply.sample?.processes?.[name], 10).filter(entry => entry && typeof entry === "object");
            if (!entries.length && !this.cards[name]) continue;
            const card = this.cardOf(name);
            write(card.title, say(titles[name] ?? name));
            [say("name"), "PID", say(titles[name] ?? name)].forEach((said, i) => write(card.titleRow.children[i], said));
            const most = entries.reduce((greatest, entry) => Math.max(greatest, number(entry.value) || 0), 0);
            fillRows(card.body, entries, () => rowOf("name", "pid", "value"), (row, entry) => {
                const [nameCell, pid, value] = row.children;
                write(nameCell.firstChild, text(entry.name));
                nameCell.title = text(entry.name);
                write(pid, figure(number(entry.pid), x => x.toFixed(0)));
                write(value, categories[name](number(entry.value)));
                row.style.setProperty("--part", (most > 0 ? (number(entry.value) || 0) / most * 100 : 0).toFixed(0) + "%");
            });
        }
    }
}

class Facts {
    constructor(element) {
        this.element = element;
        this.cards = {};
    }

    // The body of a card; it is there only while it has rows.
    card(name, items, make, fill) {
        if (!this.cards[name]) {
            const element = made("article", "card " + name, this.element);
            this.cards[name] = {element, title: made("h2", "", element), body: made("tbody", "", made("table", "", element))};
        }
        const card = this.cards[name];
        card.element.hidden = !items.length;
        write(card.title, say(name));
        fillRows(card.body, items, make, fill);
    }

    show(reply) {
        const facts = reply.facts ?? {}, ip = reply.sample?.ip ?? {};
        const averages = list(facts.loadAverages, 3).map(average => figure(number(average), x => x.toFixed(2))).join("  ");
        const traffic = ["totalDownloaded", "totalUploaded"].map(name => field(reply, "network", name));
        const pairs = [["model", text(facts.model)], ["processor", text(facts.processor)], ["system", text(facts.system)],
            ["uptime", some(number(facts.uptime), uptimeText)], ["loadAverages", averages],
            ["address", text(ip.localIPv4)], ["publicAddress", joined([text(ip.publicIP), text(ip.regionName)])],
            ["tunnel", text(ip.utunGateway)], ["proxy", ip.proxyDetected === true ? "✓" : ""],
            ["since", traffic[0] + traffic[1] > 0 ? `↓ ${bytesText(traffic[0])}  ↑ ${bytesText(traffic[1])}` : ""],
            ["sampling", some(number(reply.interval), seconds => say("seconds", Number(seconds.toFixed(2))))]];
        this.card("machine", pairs.filter(([, value]) => value), () => rowOf("key", "value"), (row, [name, value]) => {
            write(row.firstChild.firstChild, say(name));
            const cell = row.lastChild.querySelector("bdi") ?? made("bdi", "", row.lastChild);
            write(cell, value);
        });
        this.card("space", list(facts.fileSystems, 40), () => rowOf("path", "value"), (row, system) => this.fillSpace(row, system ?? {}));
        const transfers = entry => [text(entry?.name), number(entry?.in), number(entry?.out)];
        for (const [name, items] of [["drives", facts.drives], ["links", facts.interfaces]]) {
            this.card(name, list(items, 40).map(transfers), () => rowOf("path", "value", "value"), (row, [title, into, out]) => {
                write(row.firstChild.firstChild, title);
                write(row.children[1], `${name === "links" ? "↓" : say("read")} ${figure(into, rateText)}`);
                write(row.children[2], `${name === "links" ? "↑" : say("written")} ${figure(out, rateText)}`);
            });
        }
    }

    fillSpace(row, system) {
        const total = number(system.totalBytes), free = number(system.freeBytes);
        const share = total > 0 ? Math.min(1, Math.max(0, free / total)) : NaN;
        write(row.firstChild.firstChild, text(system.path));
        row.title = text(system.type);
        write(row.lastChild, total > 0 ? say("free", figure(free, bytesText), bytesText(total)) : "");
        row.style.setProperty("--part", ((1 - share) * 100 || 0).toFixed(0) + "%");
        row.dataset.level = share < 0.05 ? "critical" : share < 0.1 ? "warning" : "";
    }
}
