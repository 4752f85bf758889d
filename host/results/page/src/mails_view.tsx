/** The list of mails with the pictures that filter it, and the current mail beside it. */
import { useMemo, useRef, useState } from "preact/hooks";
import { Bars } from "./bars";
import { Flag } from "./data";
import { kind_names, mark_words } from "./explain";
import { is_filtered, no_filter, sides, toggled, type Filter, type Side } from "./filter";
import { count, counted, day, size, time } from "./format";
import { Grid, type GridColumn } from "./grid";
import { MailView } from "./mail_view";
import type { MailColumn } from "./order";
import { Value } from "./parts";
import { usual_span, type Listed, type Now, type Report } from "./report";
import { span_words, TimePath, Timeline } from "./timeline";
import { words_of } from "./words";

export interface ViewProps {
    report: Report;
    now: Now;
    listed: Listed;
    change: (part: Partial<Now>) => void;
    on_bookmark: (mail: number) => void;
}

export const flag_names = ["With attachments", "No text at all", "HTML only", "No row", "Not everything readable"];

export function value_name(report: Report, side: Side, value: number): string {
    switch (side) {
        case "people":
            return report.mails.person_with_address(value);
        case "labels":
            return report.labels[value] ?? "";
        case "kinds":
            return kind_names[value] ?? "";
        case "marks":
            return mark_words(report.marks[value] ?? "");
        case "places":
            return report.places[value] ?? "";
        case "flags":
            return flag_names[value] ?? "";
    }
}

/** "Source1 /Mail/Labels/Work.mbox" as "Source1 Work.mbox". */
function short_place(place: string): string {
    const path = place.indexOf("/");
    return path < 0 ? place : place.slice(0, path) + place.slice(place.lastIndexOf("/") + 1);
}

/** Beside an open mail the list keeps the columns needed to find the next one. */
const columns_beside_mail = ["star", "date", "from", "subject", "marks"];

/** On a telephone only the day, the sender and the subject fit. */
const narrow = matchMedia("(max-width: 760px)");
const narrow_columns: Record<string, number> = { date: 118, from: 104, subject: 120 };

function columns_of(report: Report, on_bookmark: (mail: number) => void, is_open: boolean): GridColumn[] {
    const { mails, bookmarks } = report;
    const all: GridColumn[] = [
        {
            id: "star", title: "", width: 36, sorts: false,
            draw: (mail) => {
                const is_marked = bookmarks.ids.has(mails.id[mail]!);
                return <button class={is_marked ? "star marked" : "star"} aria-label={is_marked ? "Remove the bookmark" : "Bookmark"} tabIndex={-1}
                    onClick={(event) => { event.stopPropagation(); on_bookmark(mail); }}>{is_marked ? "★" : "☆"}</button>;
            },
        },
        { id: "date", title: "Date (UTC)", width: 188, numbers: true, draw: (mail) => (Number.isNaN(mails.date[mail]!) ? <span class="quiet">no date</span> : narrow.matches ? day(mails.date[mail]!) : time(mails.date[mail]!)) },
        { id: "from", title: "From", width: 140, draw: (mail) => <Value>{mails.person(mails.from[mail]!)}</Value> },
        { id: "subject", title: "Subject", width: 160, grows: true, draw: (mail) => (mails.subject[mail] ? <Value>{mails.subject[mail]}</Value> : <span class="quiet">(no subject)</span>) },
        { id: "to", title: "To", width: 130, draw: (mail) => <Value>{(mails.to[mail] ?? []).slice(0, 4).map((each) => mails.person(each)).join(", ")}</Value> },
        { id: "files", title: "Files", width: 52, numbers: true, draw: (mail) => (mails.files[mail]! > 0 ? count(mails.files[mail]!) : "") },
        { id: "size", title: "Size", width: 88, numbers: true, draw: (mail) => (mails.size[mail]! > 0 ? size(mails.size[mail]!) : "") },
        {
            id: "marks", title: "Row", width: 56,
            draw: (mail) => {
                if ((mails.flags[mail]! & Flag.no_row) !== 0) return <span class="mark-sign" title="This mail has no row">none</span>;
                const marks = mails.marks[mail] ?? [];
                return marks.length > 0 ? <span class="mark-sign" title={marks.map((each) => mark_words(report.marks[each] ?? "")).join("\n")}>≠ {marks.length}</span> : "";
            },
        },
    ];
    if (narrow.matches) return all.filter(({ id }) => id in narrow_columns).map((each) => ({ ...each, width: narrow_columns[each.id] ?? each.width }));
    return is_open ? all.filter(({ id }) => columns_beside_mail.includes(id)) : all;
}

export function filter_chips(report: Report, filter: Filter, change: (filter: Filter) => void) {
    const chips = [];
    if (filter.span) chips.push({ key: "span", name: span_words(filter.span), without: { ...filter, span: null } });
    if (filter.query) chips.push({ key: "query", name: `“${filter.query}”`, without: { ...filter, query: "" } });
    if (filter.bookmarked) chips.push({ key: "bookmarked", name: "★ bookmarked", without: { ...filter, bookmarked: false } });
    for (const side of sides)
        for (const value of filter.chosen[side])
            chips.push({ key: `${side} ${value}`, name: value_name(report, side, value), without: toggled(filter, side, value) });
    return chips.map(({ key, name, without }) => (
        <button class="chip removable" key={key} onClick={() => change(without)} title="Remove this condition"><Value>{name}</Value> <span aria-label="remove">✕</span></button>
    ));
}

/** Bars of all sides, for the mails that pass. */
export function SideBars({ report, now, listed, change, only }: ViewProps & { only?: readonly Side[] }) {
    const sizes: Record<Side, number> = {
        people: report.mails.names.length, labels: report.labels.length, kinds: kind_names.length,
        marks: report.marks.length, places: report.places.length, flags: flag_names.length,
    };
    const titles: Record<Side, string> = { people: "Correspondents", labels: report.start.mails.from_mail ? "Labels" : "Mailboxes", kinds: "Attachments", marks: "Row and mail differ", places: "Sources", flags: "Mails" };
    const shown = only ?? (["labels", "people", "kinds", "marks", "flags", "places"] as const);
    const counts = useMemo(() => new Map(shown.map((side) => [side, listed.passed.counts(side, sizes[side])])), [listed.passed]);
    return (
        <>
            {shown.map((side) => (
                <Bars key={side} title={titles[side]} counts={counts.get(side) ?? []} chosen={now.filter.chosen[side]}
                    name={(value) => (side === "people" ? report.mails.person(value) : side === "places" ? short_place(report.places[value] ?? "") : value_name(report, side, value))}
                    hint={(value) => value_name(report, side, value)}
                    on_toggle={(value) => change({ filter: toggled(now.filter, side, value), view: "mails" })} />
            ))}
        </>
    );
}

function ListHead({ report, now, listed, change }: ViewProps) {
    const { mails } = report;
    const is_filled = is_filtered(now.filter);
    const set_filter = (filter: Filter) => change({ filter });
    return (
        <div class="list-head">
            <p aria-live="polite" class="list-count">
                {listed.is_searching ? <b>Searching</b> : <b>{count(listed.rows.length)}</b>} {is_filled ? `of ${counted(mails.count, "mail")}` : mails.count === 1 ? "mail" : "mails"}
                {!mails.is_whole && <span class="quiet"> · {count(mails.loaded)} loaded</span>}
            </p>
            {filter_chips(report, now.filter, set_filter)}
            {is_filled && <button class="link" onClick={() => set_filter(no_filter)}>Show all</button>}
            <span class="spring" />
            <button disabled={listed.rows.length === 0 || listed.is_searching || !mails.is_whole} onClick={() => change({ view: "print", printed: [...listed.rows] })}>Print list</button>
        </div>
    );
}

export function MailsView(props: ViewProps) {
    const { report, now, listed, change, on_bookmark } = props;
    const { mails } = report;
    const [is_side_open, set_side_open] = useState(false);
    const columns = useMemo(() => columns_of(report, on_bookmark, now.is_open), [report, now.version, now.is_open]);
    const usual = useMemo(() => usual_span(mails), [mails.loaded]);
    const words = useMemo(() => words_of(now.filter.query), [now.filter.query]);
    const set_filter = (filter: Filter) => change({ filter });
    const list = useRef<HTMLElement>(null);
    const open = (mail: number) => change({ mail, is_open: true });
    const close = () => {
        change({ is_open: false });
        list.current?.querySelector<HTMLElement>(".grid")?.focus();
    };
    return (
        <div class={now.is_open ? "mails has-mail" : "mails"}>
            <aside class={is_side_open ? "side open" : "side"}>
                <button class="side-switch" aria-expanded={is_side_open} onClick={() => set_side_open(!is_side_open)}>Filter by labels, people, attachments</button>
                <div class="side-bars"><SideBars {...props} /></div>
            </aside>
            <section class="list" ref={list} aria-label="List of mails">
                {usual && (
                    <div class="over-time">
                        <TimePath whole={usual.whole} beyond={usual.beyond} span={now.filter.span} on_span={(span) => set_filter({ ...now.filter, span })} />
                        <Timeline dates={() => listed.passed.dates()} version={listed.passed} whole={usual.whole} span={now.filter.span} height={112} takes_wheel
                            on_span={(span) => set_filter({ ...now.filter, span })} />
                    </div>
                )}
                <ListHead {...props} />
                <Grid label="Mails" columns={columns} rows={listed.rows} current={now.mail} empty={mails.count === 0 ? "This result has no mails." : "No mail passes the filter."}
                    sorting={{ id: now.order.column, desc: now.order.descending }}
                    on_sort={(id, desc) => change({ order: { column: id as MailColumn, descending: desc } })}
                    on_current={(mail) => change({ mail })} on_open={open}
                    on_key={(key, mail) => { if (key === "b") on_bookmark(mail); }} />
            </section>
            {now.is_open && now.mail >= 0 && (
                <section class="mail" tabIndex={-1}>
                    <MailView report={report} mail={now.mail} words={words} on_open={open} on_close={close}
                        on_bookmark={() => on_bookmark(now.mail)} on_print={() => change({ view: "print", printed: [now.mail] })} />
                </section>
            )}
        </div>
    );
}

