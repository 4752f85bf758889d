/** The index of all mails in memory, column by column, filled as its files arrive. */
import { load_once } from "./chunks";
import type { IndexFile, MailFiles } from "./data";

export class Mails {
    readonly count: number;
    loaded = 0;
    readonly id: Float64Array;
    /** UTC seconds, NaN when there is none. */
    readonly date: Float64Array;
    readonly subject: string[] = [];
    /** Number of a person, -1 when there is none. */
    readonly from: Int32Array;
    readonly to: number[][] = [];
    readonly labels: number[][] = [];
    readonly marks: number[][] = [];
    readonly kinds: Int32Array;
    readonly flags: Int32Array;
    readonly size: Float64Array;
    readonly thread: Int32Array;
    readonly place: Int32Array;
    /** Number of the row in `messages`, -1 when there is none. */
    readonly row: Float64Array;
    readonly files: Int32Array;
    /** Everyone as written, by number. */
    readonly names: string[] = [];
    readonly addresses: string[] = [];
    /** The first person with the same address: mails are counted and filtered by these. */
    readonly correspondents: number[] = [];

    constructor(private readonly made_of: MailFiles) {
        this.count = made_of.count;
        const numbers = () => new Float64Array(this.count);
        const small = () => new Int32Array(this.count);
        this.id = numbers();
        this.date = numbers();
        this.from = small();
        this.kinds = small();
        this.flags = small();
        this.size = numbers();
        this.thread = small();
        this.place = small();
        this.row = numbers();
        this.files = small();
    }

    /** Load all files; `show` is called after the first, each time the number of mails has doubled, and at the end. */
    async load(show: () => void): Promise<void> {
        let shown = 0;
        const ahead = 3; // files that are being loaded at a time
        const files: Promise<IndexFile>[] = [];
        for (let i = 0; i < this.made_of.index.length; ++i) {
            for (let next = files.length; next < Math.min(i + ahead, this.made_of.index.length); ++next)
                files.push(load_once<IndexFile>("mails", next));
            this.take((await files[i]) as IndexFile);
            if (this.loaded < 2 * shown && !this.is_whole) continue;
            shown = this.loaded;
            show();
        }
    }

    private take(file: IndexFile): void {
        const at = this.loaded;
        this.id.set(file.id, at);
        this.date.set(file.date.map((date) => date ?? NaN), at);
        this.from.set(file.from, at);
        this.kinds.set(file.kinds, at);
        this.flags.set(file.flags, at);
        this.size.set(file.size, at);
        this.thread.set(file.thread, at);
        this.place.set(file.place, at);
        this.row.set(file.row.map((row) => row ?? -1), at);
        this.files.set(file.files, at);
        for (const each of file.subject) this.subject.push(each);
        for (const each of file.to) this.to.push(each);
        for (const each of file.labels) this.labels.push(each);
        for (const each of file.marks) this.marks.push(each);
        for (let i = 0; i + 2 < file.people.length; i += 3) {
            this.names.push(String(file.people[i]));
            this.addresses.push(String(file.people[i + 1]));
            this.correspondents.push(Number(file.people[i + 2]));
        }
        this.loaded += file.id.length;
    }

    get is_whole(): boolean {
        return this.loaded === this.count;
    }

    person(number: number): string {
        return this.names[number] || this.addresses[number] || "";
    }

    person_with_address(number: number): string {
        const name = this.names[number] ?? "";
        const address = this.addresses[number] ?? "";
        return name && address ? `${name} <${address}>` : name || address;
    }

    /** Everyone who sent or got a mail, each once; -1 for a missing sender. */
    correspondents_of(mail: number): number[] {
        const all = [this.correspondents[this.from[mail]!] ?? -1];
        for (const each of this.to[mail] ?? []) {
            const correspondent = this.correspondents[each]!;
            if (!all.includes(correspondent)) all.push(correspondent);
        }
        return all;
    }

    /** Place of the mail with this id, -1 when there is none. Ids ascend. */
    find(id: number): number {
        let low = 0;
        let high = this.loaded;
        while (low < high) {
            const middle = (low + high) >> 1;
            if ((this.id[middle] ?? 0) < id) low = middle + 1;
            else high = middle;
        }
        return low < this.loaded && this.id[low] === id ? low : -1;
    }

    /** Every mail of the same conversation, by date. */
    thread_of(mail: number): number[] {
        const thread = this.thread[mail] ?? -1;
        if (thread < 0) return [mail];
        const found: number[] = [];
        for (let i = 0; i < this.loaded; ++i) if (this.thread[i] === thread) found.push(i);
        return found.sort((one, other) => (this.date[one] || 0) - (this.date[other] || 0));
    }
}

/** Splits a list in which texts and their counts alternate into two. */
export function texts_of(list: readonly (string | number)[]): string[] {
    return list.filter((_, position) => position % 2 === 0) as string[];
}
