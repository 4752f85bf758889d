/** Which mails are listed: a filter has several sides, and each picture counts the mails that pass all other sides. */
import type { Mails } from "./mails";

export type Span = readonly [from: number, until: number];

/** Sides whose values are numbers of a list; a mail passes a side when it has one of the chosen values. */
export const sides = ["people", "labels", "kinds", "marks", "places", "flags"] as const;
export type Side = (typeof sides)[number];

export interface Filter {
    /** UTC seconds, the end excluded. */
    span: Span | null;
    chosen: Readonly<Record<Side, readonly number[]>>;
    query: string;
    bookmarked: boolean;
}

export const no_filter: Filter = {
    span: null,
    chosen: { people: [], labels: [], kinds: [], marks: [], places: [], flags: [] },
    query: "",
    bookmarked: false,
};

export function is_filtered(filter: Filter): boolean {
    return filter.span !== null || filter.query !== "" || filter.bookmarked || sides.some((side) => filter.chosen[side].length > 0);
}

export function toggled(filter: Filter, side: Side, value: number): Filter {
    const now = filter.chosen[side];
    const next = now.includes(value) ? now.filter((each) => each !== value) : [...now, value];
    return { ...filter, chosen: { ...filter.chosen, [side]: next } };
}

/** The mails that pass a filter. Bits of `failed` say which sides a mail fails: 1 << position in `sides`, then these. */
const span_bit = 1 << sides.length;
const other_bit = span_bit << 1;

export class Passed {
    readonly failed: Uint16Array;

    constructor(
        private readonly mails: Mails,
        filter: Filter,
        found: Uint8Array | null,
        bookmarks: ReadonlySet<number>,
    ) {
        const failed = new Uint16Array(mails.count);
        this.failed = failed;
        const wanted = Object.fromEntries(sides.map((side) => [side, new Set(filter.chosen[side])])) as Record<Side, Set<number>>;
        const lists: [Side, (mail: number) => boolean][] = [
            ["people", (mail) => has_any(mails.correspondents_of(mail), wanted.people)],
            ["labels", (mail) => has_any(mails.labels[mail], wanted.labels)],
            ["kinds", (mail) => has_bit(mails.kinds[mail] ?? 0, wanted.kinds)],
            ["marks", (mail) => has_any(mails.marks[mail], wanted.marks)],
            ["places", (mail) => wanted.places.has(mails.place[mail] ?? -1)],
            ["flags", (mail) => has_bit(mails.flags[mail] ?? 0, wanted.flags)],
        ];
        for (const [side, passes] of lists) {
            if (wanted[side].size === 0) continue;
            const bit = 1 << sides.indexOf(side);
            for (let mail = 0; mail < mails.loaded; ++mail) if (!passes(mail)) failed[mail]! |= bit;
        }
        if (filter.span !== null) {
            const [from, until] = filter.span;
            for (let mail = 0; mail < mails.loaded; ++mail) {
                const date = mails.date[mail] ?? NaN;
                if (!(date >= from && date < until)) failed[mail]! |= span_bit;
            }
        }
        if (found !== null) for (let mail = 0; mail < mails.loaded; ++mail) if (!found[mail]) failed[mail]! |= other_bit;
        if (filter.bookmarked)
            for (let mail = 0; mail < mails.loaded; ++mail) if (!bookmarks.has(mails.id[mail] ?? -1)) failed[mail]! |= other_bit;
    }

    /** How many mails have each value of a side, among those that pass the other sides. */
    counts(side: Side, values: number): Int32Array {
        const { mails, failed } = this;
        const counts = new Int32Array(values);
        const others = ~(1 << sides.indexOf(side));
        const add = (value: number) => {
            if (value >= 0 && value < values) ++counts[value]!;
        };
        for (let mail = 0; mail < mails.loaded; ++mail) {
            if ((failed[mail]! & others) !== 0) continue;
            if (side === "labels") mails.labels[mail]?.forEach(add);
            else if (side === "marks") mails.marks[mail]?.forEach(add);
            else if (side === "places") add(mails.place[mail] ?? -1);
            else if (side === "people") mails.correspondents_of(mail).forEach(add);
            else {
                const bits = (side === "kinds" ? mails.kinds[mail] : mails.flags[mail]) ?? 0;
                for (let bit = 0; bit < values; ++bit) if ((bits >> bit) & 1) ++counts[bit]!;
            }
        }
        return counts;
    }

    /** Dates of the mails that pass every side but the time. */
    *dates(): Generator<number> {
        const { mails, failed } = this;
        for (let mail = 0; mail < mails.loaded; ++mail) {
            const date = mails.date[mail] ?? NaN;
            if ((failed[mail]! & ~span_bit) === 0 && !Number.isNaN(date)) yield date;
        }
    }
}

function has_any(values: readonly number[] | undefined, wanted: ReadonlySet<number>): boolean {
    return values !== undefined && values.some((value) => wanted.has(value));
}

function has_bit(bits: number, wanted: ReadonlySet<number>): boolean {
    for (const each of wanted) if ((bits >> each) & 1) return true;
    return false;
}
