/** Values as texts: times always in UTC, numbers and dates as the browser's language writes them. */
const language = navigator.language;
const day_format = new Intl.DateTimeFormat(language, { dateStyle: "medium", timeZone: "UTC" });
const time_format = new Intl.DateTimeFormat(language, { dateStyle: "medium", timeStyle: "medium", timeZone: "UTC" });
const long_format = new Intl.DateTimeFormat(language, { dateStyle: "full", timeStyle: "medium", timeZone: "UTC" });
const month_format = new Intl.DateTimeFormat(language, { month: "long", year: "numeric", timeZone: "UTC" });
const number_format = new Intl.NumberFormat(language);

/** The calendar ends there: in the year 275760. */
export const max_seconds = 8.64e12;

function valid(seconds: number): boolean {
    return Math.abs(seconds) <= max_seconds;
}

export function day(seconds: number): string {
    return valid(seconds) ? day_format.format(seconds * 1000) : String(seconds);
}

/** Without "UTC": for places that say it. */
export function time(seconds: number): string {
    return valid(seconds) ? time_format.format(seconds * 1000) : String(seconds);
}

export function utc(seconds: number): string {
    return valid(seconds) ? `${time_format.format(seconds * 1000)} UTC` : `${seconds} seconds (beyond the calendar)`;
}

export function long_utc(seconds: number): string {
    return valid(seconds) ? `${long_format.format(seconds * 1000)} UTC` : utc(seconds);
}

export function month(seconds: number): string {
    return month_format.format(seconds * 1000);
}

/** "2026-11-23T14:26:46Z" as people write it. */
export function iso_utc(text: string): string {
    const milliseconds = Date.parse(text);
    return Number.isNaN(milliseconds) ? text : utc(Math.floor(milliseconds / 1000));
}

export function count(number: number): string {
    return number_format.format(number);
}

/** "1 mail", "2,000 mails" */
export function counted(number: number, one: string, many = `${one}s`): string {
    return `${count(number)} ${number === 1 ? one : many}`;
}

export function size(bytes: number): string {
    if (bytes < 1000) return counted(bytes, "byte");
    const units = ["kB", "MB", "GB", "TB"];
    let unit = 0;
    let value = bytes / 1000;
    for (; value >= 999.95 && unit < units.length - 1; value /= 1000) ++unit;
    return `${value.toLocaleString(language, { maximumFractionDigits: value < 10 ? 1 : 0 })} ${units[unit]}`;
}

const invisible =
    /[\u0000-\u001f\u007f-\u009f\u00ad\u061c\u180e\u200b\u200e\u200f\u2028-\u202e\u2060-\u2069\ufeff\ufff9-\ufffb]|[\u{e0000}-\u{e007f}]/gu;

/** A text of one line with every character made visible that could hide or reverse others. */
export function visible(text: string): string {
    return text.replace(invisible, (found) => `⟨U+${(found.codePointAt(0) ?? 0).toString(16).toUpperCase().padStart(4, "0")}⟩`);
}

const invisible_but_lines = new RegExp(invisible.source.replace("\\u0000-\\u001f", "\\u0000-\\u0008\\u000b-\\u001f"), "gu");

/** The same for a text of several lines. */
export function visible_lines(text: string): string {
    return text
        .replace(/\r\n/g, "\n")
        .replace(invisible_but_lines, (found) => `⟨U+${(found.codePointAt(0) ?? 0).toString(16).toUpperCase().padStart(4, "0")}⟩`);
}
