// Asks the server once a second while people can see the page, and shows what it answers.
const patience = 5000, pace = 1000;  // ms
const byId = name => document.getElementById(name);


class Page {
    constructor() {
        this.history = new History();
        this.view = new View(this.history);
        this.panels = new Map();
        this.rankings = new Cards(byId("rankings"));
        this.facts = new Cards(byId("facts"));
        this.reply = null;     // the latest answer, with which all figures are shown
        this.isPaused = false;
        this.isIncomplete = true;  // the past is to be asked for
        this.failures = 0;
        this.told = new Set();  // tracks
        this.takeKey();
        takeInks();
        this.speak();
        this.listen();
        if (this.key) this.turn();
        else this.enter();
    }

    takeKey() {
        const [, key] = location.hash.match(/^#([0-9a-f]{32})$/i) ?? [];
        if (key) {
            sessionStorage.setItem("key", key);
            window.history.replaceState(null, "", location.pathname);
        }
        this.key = sessionStorage.getItem("key");
    }

    // What is shown to whoever has no key.
    enter() {
        sessionStorage.removeItem("key");
        this.key = null;
        clearTimeout(this.timer);
        byId("main").hidden = true;
        byId("entry").hidden = false;
    }

    async ask(path) {
        const answer = await fetch(path, {headers: {Authorization: "Bearer " + this.key}, cache: "no-store",
                                          signal: AbortSignal.timeout(patience)});
        if (!answer.ok) throw Error(answer.status);
        return answer;
    }

    // One question and what follows from it; the next begins half a sample after the next sample is due.
    async turn() {
        clearTimeout(this.timer);
        if (document.hidden || this.isAsking) return;
        this.isAsking = true;
        const begin = performance.now();
        let wait = pace;
        try {
            const reply = await this.ask("/api/now").then(answer => answer.json()).catch(error => this.fail(error));
            if (number(reply?.time) > 0) {
                this.failures = 0;
                await this.take(reply);
                const due = number(reply.sample?.timestamp) + number(reply.interval) + 0.3 - reply.time;
                if (due > 0.4 && due < 1.4) wait = due * 1000;
            } else {
                wait = Math.min(5, ++this.failures) * pace;
                this.showProblem();
            }
        } finally {
            this.isAsking = false;
            if (this.key) this.timer = setTimeout(() => this.turn(), Math.max(100, wait - (performance.now() - begin)));
        }
    }

    fail(error) {
        if (error.message === "401") this.enter();
    }

    async take(reply) {
        this.latest = Object.assign(reply, {values: reply.values ?? {}, at: performance.now()});
        const {view, history} = this, slot = number(reply.slot), time = Math.floor(number(reply.time));
        view.interval = clamp(number(reply.interval) || 1, 1, 3600);
        const newest = history.newest;
        const isBack = slot < newest || time < this.time - 60;  // the clock was set back
        if (isBack) history.clear();
        const isMissing = isBack || (newest >= 0 && slot - newest > Math.ceil(view.interval));
        if (Number.isFinite(slot)) history.append(slot, reply.values, coreUses(reply));
        for (const name in reply.values) this.told.add(name);
        this.time = time;
        this.advance();
        const isDue = view.period > 1 && !view.part && Math.floor(view.end / view.period) !== this.loadedUpTo;
        const isForgotten = view.part && !history.tier(view.period).values.holds(Math.floor(view.from / view.period));
        if (isMissing || isDue || isForgotten || this.isIncomplete) await this.load();
        if (!this.isPaused || !this.reply) {
            this.reply = this.latest;
            this.showAll();
        }
        this.showProblem();
    }

    // The right end of the graphs: the newest sample, or the time where samples stay away.
    advance() {
        if (this.isPaused) return;
        const slot = number(this.latest?.slot), {view} = this;
        const due = this.time - Math.ceil(view.interval) - 1;
        view.end = Number.isFinite(slot) ? Math.max(slot, due) : this.time;
    }

    // What the graphs show of the past, as the server has it. What fails is asked for again with the next turn.
    load() {
        this.isIncomplete = true;
        return this.fetch().catch(error => this.fail(error));
    }

    async fetch() {
        const {view} = this;
        const from = Math.floor(view.part?.from ?? view.end - view.range), to = Math.ceil(view.part?.to ?? view.end);
        const isWanted = this.loading = {};
        const query = `?from=${Math.max(0, from)}&to=${Math.max(0, to)}`;
        const blocks = await Promise.all(["history", "cores"].map(async name =>
            decodeBlock(await (await this.ask(`/api/${name}${query}`)).arrayBuffer())));
        if (this.loading !== isWanted) return;
        const {period} = blocks[0], tier = this.history.tier(period);
        if (blocks[0].count) tier.values.merge(blocks[0]);
        if (blocks[1].count && blocks[1].period === period) tier.cores.merge(blocks[1]);
        this.told = new Set([...blocks[0].tracks.keys(), ...Object.keys(this.latest?.values ?? {})]);
        view.period = period;
        this.loadedUpTo = Math.floor(view.end / period);
        this.isIncomplete = false;
        view.settle(true);
        this.draw();
    }

    // After another range or part was chosen: at once with what is there, then with what the server adds.
    choose() {
        this.view.cursor = NaN;
        this.advance();
        byId("back").hidden = !this.view.part;
        this.view.settle(true);
        this.draw();
        this.load().then(() => this.showFigures());
    }

    equip() {
        const reply = this.reply, has = track => this.told.has(track);
        const wanted = panelKinds.filter(kind => kind.isCores ? coreKinds(reply).length > 0 : kind.series(has, reply).some(one => has(one.track)));
        for (const [name, panel] of this.panels) {
            if (wanted.includes(panel.kind)) continue;
            panel.end();
            this.panels.delete(name);
        }
        wanted.forEach((kind, i) => {
            if (!this.panels.has(kind.name)) {
                const panel = new Panel(kind, this.view, (...change) => this.change(...change));
                this.panels.set(kind.name, panel);
                byId("panels").insertBefore(panel.element, byId("panels").children[i] ?? null);
            }
            this.panels.get(kind.name).equip(has, reply);
        });
        const shown = wanted.map(kind => kind.name) + this.panels.get("cores")?.isTall;
        if (shown !== this.shown) this.arrange();
        this.shown = shown;
    }

    arrange() {
        arrange(byId("panels"), panelKinds.map(kind => this.panels.get(kind.name)).filter(Boolean));
    }

    // Curves, where they moved.
    draw() {
        if (!this.reply) return;
        for (const panel of this.panels.values()) panel.draw();
    }

    showFigures() {
        if (this.reply) for (const panel of this.panels.values()) panel.show(this.reply);
    }

    showAll() {
        const {reply} = this;
        byId("main").hidden = false;
        const wished = reply.language === "zh" ? 1 : 0;
        preferred.temperature = reply.temperature;
        preferred.frequency = reply.frequency;
        if (wished !== language) {
            language = wished;
            this.speak();
        }
        this.equip();
        if (this.view.settle()) this.draw();
        else this.panels.get("cores")?.draw();
        this.showFigures();
        showRankings(this.rankings, reply, this.told.has("gpu"));
        showFacts(this.facts, reply);
        const facts = reply.facts ?? {};
        write(byId("about"), joined([text(facts.model) || text(facts.processor), text(facts.system)].map(said => said && `\u2068${said}\u2069`)));
        byId("about").title = byId("about").textContent;
        write(byId("clock"), dateText(number(reply.time), "clock"));
    }

    // Why figures are old, in the line that else names the machine.
    showProblem() {
        const isAway = this.failures > 1;
        const problem = isAway ? say("away") : text(this.latest?.problem) || (this.latest && !this.latest.sample ? say("waiting") : "");
        const stamp = number(this.latest?.sample?.timestamp);
        const age = this.time - stamp + (isAway ? (performance.now() - this.latest?.at) / 1000 : 0);
        write(byId("problem"), problem ? joined([problem, age >= 0 && say("lastSample", spanText(age))]) : this.isPaused ? say("paused") : "");
        document.body.classList.toggle("old", Boolean(problem));
        document.body.classList.toggle("paused", this.isPaused);
    }

    // Every fixed text in the language, and the ranges.
    speak() {
        document.documentElement.lang = ["en", "zh-CN"][language];
        for (const element of document.querySelectorAll("[data-say]")) write(element, say(element.dataset.say));
        for (const element of document.querySelectorAll("[data-label]")) mark(element, "aria-label", say(element.dataset.label));
        this.showPause();
        const group = byId("ranges");
        ranges.forEach((seconds, i) => {
            const [unit, length] = seconds < 3600 ? ["minutes", 60] : seconds <= 86400 ? ["hours", 3600] : ["dayCount", 86400];
            let label = group.children[i + 1];
            if (!label) {
                label = made("label", "", group);
                const input = made("input", "unseen", label);
                Object.assign(input, {type: "radio", name: "range", value: seconds, checked: seconds === this.view.range});
                made("span", "", label);
            }
            const said = say(unit, seconds / length);
            mark(label.firstChild, "aria-label", said);
            write(label.lastChild, said.replace(/ |钟|小(?=时)/g, "").replace("min", "m"));
        });
    }

    showPause() {
        const button = byId("pause");
        mark(button, "aria-pressed", String(this.isPaused));
        mark(button, "aria-label", say(this.isPaused ? "resume" : "pause"));
        button.title = say(this.isPaused ? "resume" : "pause");
    }

    pause() {
        this.isPaused = !this.isPaused;
        this.showPause();
        this.showProblem();
        if (this.isPaused || !this.latest) return;
        this.reply = this.latest;
        this.showAll();
        this.choose();
    }

    back() {
        if (this.view.chosen.pop()) this.choose();
    }

    // What people did on a graph; `spoken` is the one that they use by keyboard.
    change(what, spoken) {
        if (what === "part") return this.choose();
        this.spoken = spoken;
        if (this.isPointing) return;
        this.isPointing = requestAnimationFrame(() => {
            this.isPointing = 0;
            for (const panel of this.panels.values()) panel.graph.point();
            this.showFigures();
            if (this.spoken) write(byId("spoken"), this.view.labelOf(this.view.pointed) + ": " + this.spoken.getAttribute("aria-label"));
        });
    }

    listen() {
        on(document, "visibilitychange", () => this.key && this.turn());
        on(window, "resize", () => this.arrange());
        on(window, "hashchange", () => location.reload());
        on(matchMedia("(prefers-color-scheme: dark)"), "change", () => {
            takeInks();
            this.draw();
        });
        on(byId("ranges"), "change", event => {
            this.view.range = Number(event.target.value);
            this.view.chosen = [];
            this.choose();
        });
        on(byId("pause"), "click", () => this.pause());
        on(byId("back"), "click", () => this.back());
        on(document, "keydown", event => {
            if (event.key === "Escape") {
                if (this.view.selection) this.view.selection = null;
                else this.back();
            } else if (event.key === " " && !event.target.closest("button, summary, input, pre")) {
                event.preventDefault();
                this.pause();
            }
        });
        on(byId("sources"), "toggle", () => this.showSources());
    }

    async showSources() {
        const shown = byId("sources").querySelector("pre");
        if (!byId("sources").open) return;
        write(shown, say("asking"));
        const said = await this.ask("/api/sources").then(answer => answer.json()).then(reply => reply.text, () => "");
        write(shown, typeof said === "string" && said || say("none"));
    }
}

const page = new Page();
