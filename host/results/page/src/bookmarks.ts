/** Bookmarks of the examiner: ids of mails, kept in the browser's storage for this result. */
import type { Mails } from "./mails";

export class Bookmarks {
    readonly ids: Set<number>;
    /** Why they will be lost when the page is closed; empty when they will not. */
    problem = "";

    constructor(private readonly key: string) {
        this.ids = new Set();
        try {
            const kept: unknown = JSON.parse(localStorage.getItem(this.key) ?? "[]");
            if (Array.isArray(kept)) for (const id of kept) if (typeof id === "number") this.ids.add(id);
        } catch {
            this.problem = "This browser keeps no data for pages from the disk: export the list before you close the page.";
        }
    }

    toggle(id: number): void {
        if (!this.ids.delete(id)) this.ids.add(id);
        try {
            localStorage.setItem(this.key, JSON.stringify([...this.ids]));
        } catch {
            this.problem = "The browser could not store the bookmark: export the list before you close the page.";
        }
    }

    /** One id per line, ascending; the row of each after a tab. */
    list(mails: Mails): string {
        const source = "# id of the mail, row in messages\n";
        return (
            source +
            [...this.ids]
                .sort((one, other) => one - other)
                .map((id) => {
                    const row = mails.row[mails.find(id)] ?? -1;
                    return `${id}\t${row < 0 ? "" : row}\n`;
                })
                .join("")
        );
    }
}

/** Hand a text to the browser as a file to save. */
export function save_text(name: string, text: string): void {
    const address = URL.createObjectURL(new Blob([text], { type: "text/plain" }));
    const link = document.createElement("a");
    link.href = address;
    link.download = name;
    link.click();
    setTimeout(() => URL.revokeObjectURL(address), 10_000);
}
