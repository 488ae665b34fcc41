// Figures as people read them, as the other views write them.
const preferred = {};

function scaled(value, step, units) {
    let unit = 0;
    while (unit + 1 < units.length && Math.abs(value) >= step - 0.5) {
        value /= step;
        ++unit;
    }
    const digits = unit === 0 || Math.abs(value) >= 99.95 ? 0 : Math.abs(value) >= 9.995 ? 1 : 2;
    return value.toFixed(digits) + " " + units[unit];
}
const byteUnits = ["B", "KiB", "MiB", "GiB", "TiB", "PiB", "EiB"];
const rateUnits = ["B/s", "kB/s", "MB/s", "GB/s", "TB/s"];
const bytesText = bytes => scaled(bytes, 1024, byteUnits);
const rateText = bytes => scaled(bytes, 1000, rateUnits);
const wattsText = watts => watts.toFixed(Math.abs(watts) < 9.995 ? 2 : 1) + " W";
const percentText = share => (share * 100).toFixed(0) + "%";
const frequencyText = megahertz => preferred.frequency?.startsWith?.("m") ? megahertz.toFixed(0) + " MHz"
                                                                      : (megahertz / 1000).toFixed(2) + " GHz";

function temperatureText(celsius) {
    if (preferred.temperature === "fahrenheit") return (celsius * 9 / 5 + 32).toFixed(0) + " °F";
    if (preferred.temperature === "kelvin") return (celsius + 273.15).toFixed(0) + " K";
    return celsius.toFixed(0) + " °C";
}

function durationText(minutes) {
    return Math.floor(minutes / 60) + ":" + String(Math.floor(minutes % 60)).padStart(2, "0");
}

function uptimeText(seconds) {
    const minutes = Math.floor(seconds / 60);
    return minutes < 1440 ? durationText(minutes) : say("days", Math.floor(minutes / 1440), durationText(minutes % 1440));
}

function spanText(seconds) {
    return seconds < 120 ? say("seconds", Math.max(0, Math.round(seconds)))
        : seconds < 7200 ? say("minutes", Math.floor(seconds / 60)) : say("hours", Math.floor(seconds / 3600));
}

// Of an instant in seconds since 1970, in the browser's time zone.
const formats = {};
function dateText(seconds, kind) {
    const minute = {hour: "2-digit", minute: "2-digit", hourCycle: "h23"}, day = {day: "numeric", month: "short"};
    const format = formats[kind + language] ??= new Intl.DateTimeFormat(["en-GB", "zh-CN"][language],
        {minute, day, clock: {...minute, second: "2-digit"}, dayAndMinute: {...day, ...minute}}[kind]);
    return format.format(seconds * 1000);
}

// The next of 1, 2, 5 times a power of ten.
function roundScale(most, least) {
    if (!(most > least)) return least;
    const power = 10 ** Math.floor(Math.log10(most));
    return power * [1, 2, 5, 10].find(step => most <= step * power * (1 + 1e-9));
}

const clamp = (value, low, high) => Math.min(high, Math.max(low, value));

// What comes from outside: a finite number, else NaN; a text of bearable length, else none.
const number = value => typeof value === "number" && Number.isFinite(value) ? value : NaN;
const text = value => typeof value === "string" ? value.slice(0, 300) : "";
const list = (value, most) => Array.isArray(value) ? value.slice(0, most) : [];
// What no machine has is not shown.
const figure = (value, format) => value >= 0 && value < 1e15 ? format(value) : "–";
