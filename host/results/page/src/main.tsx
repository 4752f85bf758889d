/** The page: loads the report's data, and shows the view the examiner has chosen. */
import { render } from "preact";
import { useEffect, useMemo, useRef, useState } from "preact/hooks";
import { save_text } from "./bookmarks";
import { load_once } from "./chunks";
import { readable_version, type Start } from "./data";
import { no_filter, Passed } from "./filter";
import { count, counted } from "./format";
import { Keys } from "./keys";
import { MailsView } from "./mails_view";
import { Overview } from "./overview";
import { PrintView } from "./print_view";
import { report_of, type Listed, type Now, type Report, type View } from "./report";
import { parse_run } from "./run";
import { TablesView } from "./tables_view";
import { apply_theme, next_theme, theme_name } from "./theme";
import { search } from "./words";

const first_place = location.hash;
const first_now: Now = {
    view: "overview", table: "messages", filter: no_filter, order: { column: "date", descending: true },
    mail: -1, is_open: false, version: 0, printed: [],
};

/** Mails with the words of the query, once they are found. */
function use_search(report: Report, query: string) {
    const [result, set_result] = useState<{ query: string; found: Uint8Array | null }>({ query: "", found: null });
    const [problem, set_problem] = useState("");
    useEffect(() => {
        let is_wanted = true;
        search(query, report.start.mails.search, report.mails.count).then(
            (found) => is_wanted && set_result({ query, found }),
            (error: Error) => is_wanted && set_problem(error.message),
        );
        return () => { is_wanted = false; };
    }, [query]);
    return { found: query === "" ? null : result.found, is_searching: result.query !== query && problem === "", problem };
}

function Page({ report }: { report: Report }) {
    const [now, set_now] = useState<Now>(() => ({ ...first_now, ...from_address(report, first_place) }));
    const [typed, set_typed] = useState("");
    const [problem, set_problem] = useState("");
    const change = (part: Partial<Now>) => set_now((before) => ({ ...before, ...part }));
    const run = useMemo(() => parse_run(report.start.run), [report]);
    const { found, is_searching, problem: search_problem } = use_search(report, now.filter.query);
    const again = () => set_now((before) => ({ ...before, version: before.version + 1 }));
    useEffect(() => {
        report.mails.load(again).then(
            () => first_place.startsWith("#mail=") && set_now((before) => ({ ...before, ...from_address(report, first_place) })),
            (error: Error) => set_problem(error.message),
        );
    }, [report]);
    useEffect(() => {
        const timer = setTimeout(() => set_now((before) => (before.filter.query === typed.trim() ? before : { ...before, filter: { ...before.filter, query: typed.trim() }, view: typed.trim() && before.view !== "mails" ? "mails" : before.view })), 180);
        return () => clearTimeout(timer);
    }, [typed]);
    useEffect(() => { if (now.filter.query === "" && typed.trim() !== "") set_typed(""); }, [now.filter.query]);
    useEffect(() => to_address(report, now), [now.view, now.table, now.mail, now.is_open]);
    const marks = now.filter.bookmarked ? now.version : 0;
    const passed = useMemo(() => new Passed(report.mails, now.filter, found, report.bookmarks.ids), [report, report.mails.loaded, now.filter, found, marks]);
    const listed: Listed = useMemo(() => ({ passed, is_searching, rows: report.sorter.list(passed, now.order) }), [passed, now.order, is_searching]);
    const on_bookmark = (mail: number) => {
        report.bookmarks.toggle(report.mails.id[mail]!);
        again();
    };
    const views = { report, now, listed, change, on_bookmark };
    if (now.view === "print") return <PrintView report={report} now={now} change={change} />;
    return (
        <>
            <Top report={report} now={now} change={change} typed={typed} set_typed={set_typed} is_searching={is_searching} />
            {(problem || search_problem || report.bookmarks.problem) && <p class="problem" role="alert">{problem || search_problem || report.bookmarks.problem}</p>}
            <main data-loaded={report.mails.is_whole}>
                {now.view === "overview" && <Overview {...views} run={run} />}
                {now.view === "mails" && <MailsView {...views} />}
                {now.view === "tables" && <TablesView report={report} now={now} change={change} />}
            </main>
            <Keys now={now} change={change} />
        </>
    );
}

interface TopProps {
    report: Report;
    now: Now;
    change: (part: Partial<Now>) => void;
    typed: string;
    set_typed: (text: string) => void;
    is_searching: boolean;
}

function Top({ report, now, change, typed, set_typed, is_searching }: TopProps) {
    const [theme, set_theme] = useState(theme_name());
    const views: [View, string][] = [["overview", "Overview"], ["mails", "Mails"], ["tables", "Tables"]];
    return (
        <header class="top">
            <span class="brand">Gmail report</span>
            <nav aria-label="Views">
                {views.map(([view, name]) => (
                    <button key={view} class={now.view === view ? "tab chosen" : "tab"} aria-current={now.view === view ? "page" : undefined} onClick={() => change({ view })}>
                        {name}{view === "mails" && <span class="quiet"> {count(report.mails.count)}</span>}
                    </button>
                ))}
            </nav>
            <label class="search">
                <input type="search" id="search" placeholder="Search all mails" aria-label="Search all mails: subject, people, text, names of attachments" value={typed}
                    onInput={(event) => set_typed(event.currentTarget.value)} />
                <kbd aria-hidden="true">/</kbd>
                {is_searching && <span class="searching" role="status">searching…</span>}
            </label>
            <BookmarkMenu report={report} now={now} change={change} />
            <button class="theme" title="Light, dark, or like the system" onClick={() => set_theme(next_theme())}>{theme}</button>
        </header>
    );
}

function BookmarkMenu({ report, now, change }: { report: Report; now: Now; change: (part: Partial<Now>) => void }) {
    const menu = useRef<HTMLDetailsElement>(null);
    const marked = report.bookmarks.ids;
    const act = (what: () => void) => () => {
        if (menu.current) menu.current.open = false;
        what();
    };
    const places = () => [...marked].map((id) => report.mails.find(id)).filter((mail) => mail >= 0).sort((one, other) => one - other);
    return (
        <details class="menu" ref={menu}>
            <summary>★ {count(marked.size)}</summary>
            <div class="menu-body">
                <p class="quiet">{counted(marked.size, "bookmark")}, kept in this browser</p>
                <button disabled={marked.size === 0} onClick={act(() => change({ view: "mails", filter: { ...no_filter, bookmarked: !now.filter.bookmarked } }))}>{now.filter.bookmarked ? "Show all mails" : "Show them"}</button>
                <button disabled={marked.size === 0} onClick={act(() => change({ view: "print", printed: places() }))}>Print them</button>
                <button disabled={marked.size === 0} onClick={act(() => save_text("bookmarks.txt", report.bookmarks.list(report.mails)))}>Save the list of ids</button>
            </div>
        </details>
    );
}

/** "#mails", "#mail=12", "#table=cookies": so that back and reload return to the same place. */
function to_address(report: Report, now: Now): void {
    const place = now.view === "tables" ? `#table=${now.table}` : now.view === "mails" && now.is_open ? `#mail=${report.mails.id[now.mail]}` : `#${now.view}`;
    if (location.hash !== place && now.view !== "print") history.replaceState(null, "", place);
}

function from_address(report: Report, address: string): Partial<Now> {
    const place = /^#(\w+)(?:=(\w+))?$/.exec(address);
    if (place?.[1] === "table") return { view: "tables", table: place[2] ?? "messages" };
    if (place?.[1] === "mails") return { view: "mails" };
    if (place?.[1] === "mail") {
        const mail = report.mails.find(Number(place[2]));
        return mail < 0 ? { view: "mails" } : { view: "mails", mail, is_open: true };
    }
    return {};
}

apply_theme();
const page = document.getElementById("page") as HTMLElement;
load_once<Start>("start", 0, "data/start.js").then(
    (start) => {
        page.replaceChildren();
        if (start.version === readable_version) render(<Page report={report_of(start)} />, page);
        else page.textContent = "The data files and the page of this report are of different versions. Write the report again.";
    },
    (error: Error) => { page.textContent = error.message; },
);
