/** Keys that work everywhere, and the list of all. */
import { useEffect, useRef } from "preact/hooks";
import { no_filter } from "./filter";
import type { Now } from "./report";

const list: [string, string][] = [
    ["/", "search"],
    ["↑ ↓ or j k", "previous, next mail or row"],
    ["Page ↑ ↓, Home, End", "further"],
    ["Enter", "open"],
    ["b", "bookmark"],
    ["Esc", "close the mail, then clear the filter"],
    ["1 2 3", "overview, mails, tables"],
    ["?", "this list"],
];

export function Keys({ now, change }: { now: Now; change: (part: Partial<Now>) => void }) {
    const dialog = useRef<HTMLDialogElement>(null);
    const latest = useRef(now);
    latest.current = now;
    useEffect(() => {
        const on_key = (event: KeyboardEvent) => {
            if (event.ctrlKey || event.metaKey || event.altKey) return;
            const target = event.target as HTMLElement;
            const is_typing = target.matches("input, textarea");
            if (event.key === "Escape" && !dialog.current?.open) {
                if (is_typing) target.blur();
                else if (latest.current.is_open) change({ is_open: false });
                else change({ filter: no_filter });
                return;
            }
            if (is_typing) return;
            if (event.key === "/") document.getElementById("search")?.focus();
            else if (event.key === "?") dialog.current?.showModal();
            else if (event.key === "1") change({ view: "overview" });
            else if (event.key === "2") change({ view: "mails" });
            else if (event.key === "3") change({ view: "tables" });
            else return;
            event.preventDefault();
        };
        document.addEventListener("keydown", on_key);
        return () => document.removeEventListener("keydown", on_key);
    }, []);
    return (
        <dialog ref={dialog} class="keys">
            <h2>Keys</h2>
            <dl>{list.map(([keys, what]) => [<dt key={keys}><kbd>{keys}</kbd></dt>, <dd>{what}</dd>])}</dl>
            <button autofocus onClick={() => dialog.current?.close()}>Close</button>
        </dialog>
    );
}
