/** The artifact tables unchanged: sorted, searched, one row at a time in full. */
import { useEffect, useMemo, useState } from "preact/hooks";
import { load_once } from "./chunks";
import type { Cell, TableFile, TableInfo } from "./data";
import { count, counted, time, utc } from "./format";
import { Grid, type GridColumn } from "./grid";
import { Fact, Facts, Value } from "./parts";
import type { Now, Report } from "./report";

/** The rows of one table in memory, column by column. */
class Rows {
    readonly columns: Cell[][];
    loaded = 0;

    constructor(readonly info: TableInfo) {
        this.columns = info.columns.map(() => []);
    }

    take(file: TableFile, rows: number): void {
        this.columns.forEach((column, at) => {
            const more = file[at];
            for (let row = 0; row < rows; ++row) column.push(more?.[row] ?? null);
        });
        this.loaded += rows;
    }
}

const kept = new Map<string, Rows>();

function use_rows(info: TableInfo): { rows: Rows; problem: string } {
    const [, draw] = useState(0);
    const [problem, set_problem] = useState("");
    const rows = kept.get(info.name) ?? new Rows(info);
    useEffect(() => {
        if (kept.has(info.name)) return;
        kept.set(info.name, rows);
        void (async () => {
            for (let number = 0; number < info.begins.length; ++number) {
                const file = await load_once<TableFile>(info.name, number);
                rows.take(file, (info.begins[number + 1] ?? info.rows) - (info.begins[number] ?? 0));
                draw((times) => times + 1);
            }
        })().catch((error: Error) => set_problem(error.message));
    }, [info.name]);
    return { rows, problem };
}

const collator = new Intl.Collator(undefined, { sensitivity: "base", numeric: true });

function compare(one: Cell, other: Cell): number {
    if (typeof one === "number" && typeof other === "number") return one - other;
    return collator.compare(String(one), String(other));
}

function list_of(rows: Rows, query: string, sorting: { id: string; desc: boolean } | null): Int32Array {
    const wanted = query.toLowerCase().split(/\s+/).filter(Boolean);
    const texts = rows.columns.filter((_, at) => rows.info.columns[at]?.[2] === 1);
    const passes = (row: number) => wanted.every((word) => texts.some((column) => column[row] !== null && String(column[row]).toLowerCase().includes(word)));
    let list = Int32Array.from({ length: rows.loaded }, (_, row) => row);
    if (wanted.length > 0) list = list.filter(passes);
    const at = rows.info.columns.findIndex(([name]) => name === sorting?.id);
    const column = rows.columns[at];
    if (!column || !sorting) return list;
    const sign = sorting.desc ? -1 : 1;
    return list.sort((one, other) => {
        const [a, b] = [column[one] ?? null, column[other] ?? null];
        if (a === null || b === null) return Number(a === null) - Number(b === null) || one - other;
        return sign * compare(a, b) || one - other;
    });
}

const widths: Record<string, number> = { INT: 64, subject: 240, snippet: 260, message_text: 260, value: 220, source_file: 200 };

function columns_of(rows: Rows): GridColumn[] {
    const used = rows.info.columns.map((each, at) => ({ each, at })).filter(({ each: [name, , is_used] }) => is_used === 1 && name !== "bookmark");
    return used.map(({ each: [name, is_time], at }) => ({
        id: name,
        title: is_time ? `${name} (UTC)` : name,
        width: widths[name] ?? (is_time ? 190 : 150),
        numbers: name === "INT" || is_time === 1,
        draw: (row) => {
            const value = rows.columns[at]?.[row] ?? null;
            if (value === null) return "";
            return is_time && typeof value === "number" && value !== 0 ? time(value) : <Value>{String(value)}</Value>;
        },
    }));
}

interface TableProps {
    report: Report;
    now: Now;
    change: (part: Partial<Now>) => void;
}

export function TablesView(props: TableProps) {
    const { report, now, change } = props;
    const info = report.start.tables.find(({ name }) => name === now.table) ?? report.start.tables[0];
    if (!info) return null;
    return (
        <div class="tables">
            <nav class="table-names" aria-label="Tables">
                {report.start.tables.map(({ name, rows }) => (
                    <button key={name} class={name === info.name ? "tab chosen" : "tab"} aria-current={name === info.name} onClick={() => change({ table: name })}>
                        {name} <span class="quiet">{count(rows)}</span>
                    </button>
                ))}
            </nav>
            <TableOf {...props} info={info} key={info.name} />
        </div>
    );
}

function TableOf({ report, now, change, info }: TableProps & { info: TableInfo }) {
    const { rows, problem } = use_rows(info);
    const [sorting, set_sorting] = useState<{ id: string; desc: boolean } | null>(null);
    const [query, set_query] = useState("");
    const [current, set_current] = useState(-1);
    const columns = useMemo(() => columns_of(rows), [rows]);
    const list = useMemo(() => list_of(rows, query, sorting), [rows, rows.loaded, query, sorting]);
    return (
        <div class={current >= 0 ? "table-of has-row" : "table-of"}>
            <div class="list-head">
                <p class="list-count" aria-live="polite"><b>{count(list.length)}</b> {list.length === info.rows ? (info.rows === 1 ? "row" : "rows") : `of ${counted(info.rows, "row")}`}</p>
                <input type="search" class="table-search" placeholder={`Search in ${info.name}`} aria-label={`Search in ${info.name}`} value={query} onInput={(event) => set_query(event.currentTarget.value)} />
                {problem && <p class="problem">{problem}</p>}
            </div>
            <Grid label={info.name} columns={columns} rows={list} current={current} empty={info.rows === 0 ? "This table has no rows." : "No row contains these words."}
                sorting={sorting} on_sort={(id, desc) => set_sorting({ id, desc })} on_current={set_current} on_open={set_current} />
            {current >= 0 && <RowSheet report={report} now={now} change={change} rows={rows} row={current} on_close={() => set_current(-1)} />}
        </div>
    );
}

function RowSheet({ report, change, rows, row, on_close }: TableProps & { rows: Rows; row: number; on_close: () => void }) {
    const number = rows.columns[rows.info.columns.findIndex(([name]) => name === "INT")]?.[row] ?? null;
    const mail = rows.info.name === "messages" && typeof number === "number" ? report.mails.row.indexOf(number) : -1;
    return (
        <section class="row-sheet" aria-label="Row">
            <div class="actions">
                <h3>Row {number}</h3>
                {mail >= 0 && <button onClick={() => change({ view: "mails", mail, is_open: true })}>Open the mail</button>}
                <button class="close" aria-label="Close the row" onClick={on_close}>✕</button>
            </div>
            <Facts>
                {rows.info.columns.map(([name, is_time], at) => {
                    const value = rows.columns[at]?.[row] ?? null;
                    if (value === null) return null;
                    return <Fact name={name} key={name}><Value>{String(value)}</Value>{is_time === 1 && typeof value === "number" && value !== 0 && <span class="quiet"> · {utc(value)}</span>}</Fact>;
                })}
            </Facts>
        </section>
    );
}
