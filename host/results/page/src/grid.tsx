/** A table of any length: sorts by a click on a head, columns can be made wider, keys move the current row. */
import { createTable, type ColumnDef, type SortingState, type TableState } from "@tanstack/table-core";
import type { ComponentChildren } from "preact";
import { useEffect, useMemo, useRef, useState } from "preact/hooks";
import { row_height, useVirtualRows } from "./virtual";

export interface GridColumn {
    id: string;
    title: string;
    width: number;
    /** Takes the rest of the width. */
    grows?: boolean;
    numbers?: boolean;
    sorts?: boolean;
    draw: (row: number) => ComponentChildren;
}

interface GridProps {
    label: string;
    columns: readonly GridColumn[];
    /** The arguments for `draw`, in the order of the list. */
    rows: ArrayLike<number>;
    sorting: { id: string; desc: boolean } | null;
    on_sort: (id: string, desc: boolean) => void;
    current: number;
    on_current: (row: number) => void;
    on_open: (row: number) => void;
    on_key?: (key: string, row: number) => void;
    empty: string;
}

function useColumns(props: GridProps) {
    const [sizing, set_sizing] = useState<TableState["columnSizing"]>({});
    const definitions = useMemo<ColumnDef<number>[]>(
        () => props.columns.map((each) => ({ id: each.id, size: each.width, minSize: 36, accessorFn: (row) => row, sortDescFirst: each.numbers ?? false, enableSorting: each.sorts ?? true })),
        [props.columns],
    );
    const sorting: SortingState = props.sorting ? [props.sorting] : [];
    return createTable<number>({
        data: [],
        columns: definitions,
        getCoreRowModel: () => () => ({ rows: [], flatRows: [], rowsById: {} }),
        manualSorting: true,
        enableSortingRemoval: false,
        renderFallbackValue: null,
        state: { sorting, columnSizing: sizing, columnVisibility: {}, columnOrder: [], columnPinning: {} } as Partial<TableState>,
        onStateChange: () => undefined,
        onSortingChange: (change) => {
            const next = (typeof change === "function" ? change(sorting) : change)[0];
            if (next) props.on_sort(next.id, next.desc);
        },
        onColumnSizingChange: (change) => set_sizing((now) => (typeof change === "function" ? change(now) : change)),
    });
}

type Columns = ReturnType<typeof useColumns>;

/** Makes a column wider or narrower with the pointer. */
function drag_width(table: Columns, id: string, event: PointerEvent): void {
    const handle = event.currentTarget as HTMLElement;
    const start = event.clientX;
    const width = handle.parentElement?.getBoundingClientRect().width ?? 100;
    handle.setPointerCapture(event.pointerId);
    const move = (now: PointerEvent) => table.setColumnSizing((all) => ({ ...all, [id]: Math.max(36, width + now.clientX - start) }));
    handle.addEventListener("pointermove", move);
    handle.addEventListener("pointerup", () => handle.removeEventListener("pointermove", move), { once: true });
    event.preventDefault();
    event.stopPropagation();
}

function Head({ table, columns }: { table: Columns; columns: readonly GridColumn[] }) {
    return (
        <div class="grid-head" role="row">
            {table.getFlatHeaders().map((header, at) => {
                const sorted = header.column.getIsSorted();
                const direction = sorted === "asc" ? "ascending" : sorted === "desc" ? "descending" : "none";
                return (
                    <div class={`head-cell${columns[at]?.numbers ? " numbers" : ""}`} role="columnheader" aria-sort={direction} key={header.id}>
                        {header.column.getCanSort() ? (
                            <button class="sort" onClick={() => header.column.toggleSorting()} title={`Sort by ${columns[at]?.title}`}>
                                {columns[at]?.title}
                                <span class="arrow" aria-hidden="true">{sorted === "asc" ? "▲" : sorted === "desc" ? "▼" : ""}</span>
                            </button>
                        ) : (
                            <span class="no-sort">{columns[at]?.title}</span>
                        )}
                        <span class="widen" aria-hidden="true" onPointerDown={(event) => drag_width(table, header.column.id, event)} />
                    </div>
                );
            })}
        </div>
    );
}

const steps: Record<string, number> = { ArrowDown: 1, ArrowUp: -1, j: 1, k: -1, PageDown: 20, PageUp: -20, Home: -Infinity, End: Infinity };

export function Grid(props: GridProps) {
    const scrolled = useRef<HTMLDivElement>(null);
    const table = useColumns(props);
    const virtual = useVirtualRows(props.rows.length, scrolled);
    const at = useMemo(() => Array.prototype.indexOf.call(props.rows, props.current) as number, [props.rows, props.current]);
    useEffect(() => {
        if (at >= 0) virtual.scrollToIndex(at, { align: "auto" });
    }, [at]);
    const sized = table.getState().columnSizing;
    const tracks = props.columns
        .map((each) => (each.grows && sized[each.id] === undefined ? `minmax(${each.width}px, 1fr)` : `${sized[each.id] ?? each.width}px`))
        .join(" ");
    const least = props.columns.reduce((sum, each) => sum + (sized[each.id] ?? each.width), 0);
    const on_key = (event: KeyboardEvent) => {
        if (event.ctrlKey || event.metaKey || event.altKey) return;
        const step = steps[event.key];
        const row = props.rows[at];
        if (step !== undefined && props.rows.length > 0) {
            const next = Math.min(Math.max(at + step, 0), props.rows.length - 1);
            props.on_current(props.rows[next] ?? -1);
        } else if (event.key === "Enter" && row !== undefined) props.on_open(row);
        else if (row !== undefined && props.on_key) return props.on_key(event.key, row);
        else return;
        event.preventDefault();
    };
    return (
        <div class="grid" role="grid" aria-label={props.label} aria-rowcount={props.rows.length} tabIndex={0} onKeyDown={on_key}
            ref={scrolled} style={{ "--tracks": tracks, "--least": `${least}px` }}>
            <Head table={table} columns={props.columns} />
            {props.rows.length === 0 && <p class="empty">{props.empty}</p>}
            <div class="grid-rows" role="presentation" style={{ height: `${virtual.getTotalSize()}px` }}>
                {virtual.getVirtualItems().map((item) => {
                    const row = props.rows[item.index] ?? -1;
                    const is_current = row === props.current;
                    return (
                        <div class={is_current ? "grid-row current" : "grid-row"} role="row" key={item.key} aria-rowindex={item.index + 1} aria-selected={is_current}
                            style={{ transform: `translateY(${item.start}px)`, height: `${row_height}px` }}
                            onClick={() => { props.on_current(row); props.on_open(row); }}>
                            {props.columns.map((column) => (
                                <div class={column.numbers ? "cell numbers" : "cell"} role="gridcell" key={column.id}>{column.draw(row)}</div>
                            ))}
                        </div>
                    );
                })}
            </div>
        </div>
    );
}
