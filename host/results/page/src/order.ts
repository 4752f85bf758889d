/** The order of the list of mails. */
import type { Mails } from "./mails";

export type MailColumn = "id" | "date" | "from" | "to" | "subject" | "size" | "files" | "marks" | "row";
export interface Order {
    column: MailColumn;
    descending: boolean;
}

const collator = new Intl.Collator(undefined, { sensitivity: "base", numeric: true });

/** Rank of each text among all; equal texts have equal ranks. */
function ranks(texts: readonly string[]): Float64Array {
    const numbers = new Map<string, number>();
    for (const text of texts) numbers.set(text, 0);
    const different = [...numbers.keys()].sort(collator.compare);
    different.forEach((text, rank) => numbers.set(text, text === "" ? NaN : rank));
    return Float64Array.from(texts, (text) => numbers.get(text) ?? NaN);
}

function keys_of(mails: Mails, column: MailColumn): ArrayLike<number> {
    const people = () => ranks(mails.names.map((_, number) => mails.person(number)));
    switch (column) {
        case "id":
            return mails.id;
        case "date":
            return mails.date;
        case "from": {
            const rank = people();
            return Float64Array.from(mails.from, (person) => rank[person] ?? NaN);
        }
        case "to": {
            const rank = people();
            return Float64Array.from(mails.to, (all) => rank[all[0] ?? -1] ?? NaN);
        }
        case "subject":
            return ranks(mails.subject);
        case "size":
            return mails.size;
        case "files":
            return mails.files;
        case "marks":
            return Float64Array.from(mails.marks, (all) => all.length);
        case "row":
            return mails.row.map((row) => (row < 0 ? NaN : row));
    }
}

/** Sorts lists of mails; mails without a value come last in either direction. Orders of all mails are kept once all are loaded. */
export class Sorter {
    private readonly kept = new Map<string, Int32Array>();

    constructor(private readonly mails: Mails) {}

    /** The mails that pass, in this order. */
    list(passed: { readonly failed: Uint16Array }, order: Order): Int32Array {
        return this.all(order).filter((mail) => passed.failed[mail] === 0);
    }

    private all({ column, descending }: Order): Int32Array {
        const name = `${column} ${descending}`;
        const kept = this.kept.get(name);
        if (kept) return kept;
        const keys = keys_of(this.mails, column);
        const sign = descending ? -1 : 1;
        const all = Int32Array.from({ length: this.mails.loaded }, (_, mail) => mail).sort((one, other) => {
            const a = keys[one]!;
            const b = keys[other]!;
            if (a === b) return one - other;
            if (a < b) return -sign;
            if (a > b) return sign;
            return Number(Number.isNaN(a)) - Number(Number.isNaN(b)) || one - other;
        });
        if (this.mails.is_whole) this.kept.set(name, all);
        return all;
    }
}
