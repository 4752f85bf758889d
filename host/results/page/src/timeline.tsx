/** Mails over time: bars of years, months, days or hours. A click on a bar, a drag over some, or the wheel zooms. */
import { brushX, type D3BrushEvent } from "d3-brush";
import { scaleLinear, scaleUtc } from "d3-scale";
import { select } from "d3-selection";
import { utcDay, utcHour, utcMonth, utcYear, type TimeInterval } from "d3-time";
import type { RefObject } from "preact";
import { useEffect, useLayoutEffect, useMemo, useRef, useState } from "preact/hooks";
import type { Span } from "./filter";
import { count, counted, day, month, time } from "./format";

interface Step {
    interval: TimeInterval;
    name: string;
    seconds: number;
}
const hours: Step = { interval: utcHour, name: "hour", seconds: 3600 };
const years: Step = { interval: utcYear, name: "year", seconds: 31_556_952 };
const steps: readonly Step[] = [
    hours,
    { interval: utcDay, name: "day", seconds: 86_400 },
    { interval: utcMonth, name: "month", seconds: 2_629_746 },
    years,
    { interval: utcYear.every(10) ?? utcYear, name: "decade", seconds: 315_569_520 },
    { interval: utcYear.every(1000) ?? utcYear, name: "millennium", seconds: 31_556_952_000 }, // dates of mails may be anything
];
const millennia = steps[steps.length - 1]!;
const max_bars = 100;
const margin = { left: 44, right: 14, top: 8, bottom: 22 };
const shortest = 3600;

function step_for([from, until]: Span): Step {
    return steps.find((each) => (until - from) / each.seconds <= max_bars) ?? millennia;
}

interface Bar {
    from: number;
    until: number;
    mails: number;
}

/** Bars over the span, which begins and ends with whole ones. */
function bars_of(dates: Iterable<number>, span: Span, step: Step): Bar[] {
    const begin = step.interval.floor(new Date(span[0] * 1000));
    const edges = step.interval.range(begin, new Date(span[1] * 1000)).map((date) => date.getTime() / 1000);
    const bars = edges.map((from) => ({ from, until: step.interval.offset(new Date(from * 1000), 1).getTime() / 1000, mails: 0 }));
    const last = bars[bars.length - 1];
    if (!last) return [];
    const first = edges[0] ?? 0;
    const average = (last.until - first) / bars.length;
    for (const date of dates) {
        if (date < first || date >= last.until) continue;
        let at = Math.min(Math.floor((date - first) / average), bars.length - 1);
        while (at > 0 && date < bars[at]!.from) --at;
        while (at < bars.length - 1 && date >= bars[at]!.until) ++at;
        ++bars[at]!.mails;
    }
    return bars;
}

export function span_words([from, until]: Span): string {
    const last = until - 1;
    const is_whole = (interval: TimeInterval) => {
        const date = new Date(from * 1000);
        return +interval.floor(date) === +date && +interval.offset(date, 1) === until * 1000;
    };
    if (is_whole(utcYear)) return String(new Date(from * 1000).getUTCFullYear());
    if (is_whole(utcMonth)) return month(from);
    if (is_whole(utcDay)) return day(from);
    if (until - from < 86_400) return `${time(from)} – ${time(last)} UTC`;
    return `${day(from)} – ${day(last)}`;
}

function useWidth() {
    const ref = useRef<HTMLDivElement>(null);
    const [width, set_width] = useState(0);
    useLayoutEffect(() => {
        const element = ref.current;
        if (!element) return undefined;
        const observer = new ResizeObserver(() => set_width(element.clientWidth));
        observer.observe(element);
        set_width(element.clientWidth);
        return () => observer.disconnect();
    }, []);
    return { ref, width };
}

function tick_words(date: Date, span: Span): string {
    const seconds = date.getTime() / 1000;
    if (+utcYear.floor(date) === +date) return String(date.getUTCFullYear());
    if (+utcMonth.floor(date) === +date)
        return span[1] - span[0] > years.seconds * 3 ? "" : new Intl.DateTimeFormat(undefined, { month: "short", timeZone: "UTC" }).format(date);
    if (+utcDay.floor(date) === +date) return new Intl.DateTimeFormat(undefined, { day: "numeric", month: "short", timeZone: "UTC" }).format(date);
    return new Intl.DateTimeFormat(undefined, { hour: "2-digit", minute: "2-digit", timeZone: "UTC" }).format(seconds * 1000);
}

/** Report which pixels a drag went over. */
function use_brush(group: RefObject<SVGGElement | null>, width: number, height: number, on_drag: (first: number, last: number) => void): void {
    const latest = useRef(on_drag);
    latest.current = on_drag;
    useEffect(() => {
        if (!group.current) return;
        const selected = select(group.current);
        const brush = brushX<unknown>().extent([[0, 0], [width, height]]).on("end", (event: D3BrushEvent<unknown>) => {
            const dragged = event.selection as [number, number] | null;
            if (!dragged || !event.sourceEvent) return;
            selected.call((each) => brush.move(each as never, null));
            latest.current(...dragged);
        });
        selected.call(brush as never);
    }, [width, height]);
}

/** A span longer or shorter by a factor around a moment; null for all time, undefined when it would be too short. */
function zoomed(span: Span, whole: Span, around: number, factor: number): Span | null | undefined {
    const length = (span[1] - span[0]) * factor;
    if (length >= whole[1] - whole[0]) return null;
    if (length < 6 * shortest) return undefined;
    const from = Math.max(whole[0], around - (around - span[0]) * factor);
    return [Math.round(from), Math.round(Math.min(whole[1], from + length))];
}

function BarOfTime({ bar, left, right, top, bottom, on_zoom }: { bar: Bar; left: number; right: number; top: number; bottom: number; on_zoom: () => void }) {
    const words = `${span_words([bar.from, bar.until])}: ${counted(bar.mails, "mail")}`;
    return (
        <rect class="bar" x={left + 0.5} width={Math.max(right - left - 1, 0.5)} y={top} height={bottom - top} tabIndex={bar.mails > 0 ? 0 : -1} role="button"
            aria-label={words} onKeyDown={(event) => event.key === "Enter" && on_zoom()}>
            <title>{words}</title>
        </rect>
    );
}

export interface TimelineProps {
    /** Dates that pass the other sides of the filter. */
    dates: () => Iterable<number>;
    /** Changes whenever `dates` returns different ones. */
    version: unknown;
    whole: Span;
    span: Span | null;
    on_span: (span: Span | null) => void;
    height: number;
    /** Zooms with the wheel alone, where nothing around it scrolls. */
    takes_wheel?: boolean;
}

export function Timeline({ dates, version, whole, span, on_span, height, takes_wheel }: TimelineProps) {
    const { ref, width } = useWidth();
    const brushed = useRef<SVGGElement>(null);
    const shown = span ?? whole;
    const step = step_for(shown);
    const bars = useMemo(() => bars_of(dates(), shown, step), [version, shown[0], shown[1]]);
    const edges: Span = span ?? [bars[0]?.from ?? shown[0], bars[bars.length - 1]?.until ?? shown[1]];
    const inner = Math.max(width - margin.left - margin.right, 10);
    const x = scaleUtc([edges[0] * 1000, edges[1] * 1000], [0, inner]);
    const most = Math.max(1, ...bars.map((bar) => bar.mails));
    const y = scaleLinear([0, most], [height - margin.top - margin.bottom, 0]).nice(3);
    const left = (seconds: number) => Math.min(Math.max(x(seconds * 1000), 0), inner);
    const zoom_to = (from: number, until: number) => {
        if (until - from >= shortest) on_span([from, until]);
    };
    const moment_of = (event: MouseEvent) => x.invert(event.clientX - (brushed.current?.getBoundingClientRect().left ?? 0)).getTime() / 1000;
    use_brush(brushed, inner, height - margin.top - margin.bottom, (first, last) => {
        const [from, until] = [first, last].map((pixel) => x.invert(pixel).getTime() / 1000) as [number, number];
        const covered = bars.filter((bar) => bar.until > from && bar.from < until);
        if (covered.length > 0) zoom_to(covered[0]!.from, covered[covered.length - 1]!.until);
    });
    const on_click = (event: MouseEvent) => {
        const moment = moment_of(event);
        const bar = bars.find((each) => moment >= each.from && moment < each.until);
        if (bar && step !== hours) zoom_to(bar.from, bar.until);
    };
    const on_wheel = (event: WheelEvent) => {
        if (!event.ctrlKey && (!takes_wheel || Math.abs(event.deltaY) < Math.abs(event.deltaX))) return;
        event.preventDefault();
        const next = zoomed(edges, whole, moment_of(event), event.deltaY > 0 ? 1.6 : 1 / 1.6);
        if (next !== undefined) on_span(next);
    };
    return (
        <div class="timeline" ref={ref}>
            {width > 0 && (
                <svg width={width} height={height} role="group" aria-label={`Mails per ${step.name}, ${span_words(shown)}`} onWheel={on_wheel} onClick={on_click}>
                    <g transform={`translate(${margin.left},${margin.top})`}>
                        {y.ticks(3).map((tick) => (
                            <g class="tick" key={tick} transform={`translate(0,${y(tick)})`}>
                                <line x2={inner} />
                                <text x={-6} dy="0.32em" text-anchor="end">{count(tick)}</text>
                            </g>
                        ))}
                        {x.ticks(Math.max(2, Math.floor(inner / 80))).filter((tick) => x(tick) <= inner - 8 || x(tick) > inner - 1).map((tick) => (
                            <text class="tick-x" key={+tick} x={x(tick)} y={height - margin.top - 6} text-anchor="middle">{tick_words(tick, shown)}</text>
                        ))}
                        <g ref={brushed} class="brush" />
                        {bars.map((bar) => (
                            <BarOfTime key={bar.from} bar={bar} left={left(bar.from)} right={left(bar.until)} top={y(bar.mails)} bottom={y(0)}
                                on_zoom={() => step !== hours && zoom_to(bar.from, bar.until)} />
                        ))}
                    </g>
                </svg>
            )}
        </div>
    );
}

/** Mails far from all others, which the picture of all time leaves out, and the span that has them, too. */
export interface Beyond {
    mails: number;
    span: Span;
}

/** The way back from a zoom: all, the year, the month, the day. */
export function TimePath({ whole, span, on_span, beyond }: { whole: Span; span: Span | null; on_span: (span: Span | null) => void; beyond: Beyond | null }) {
    if (span === null)
        return (
            <p class="time-path">
                <b>All time</b> <span class="quiet">{span_words(whole)}</span>
                {beyond && <> · <button class="link" onClick={() => on_span(beyond.span)}>{counted(beyond.mails, "mail is", "mails are")} earlier or later</button></>}
            </p>
        );
    const ways: Span[] = [];
    for (const interval of [utcYear, utcMonth, utcDay]) {
        const begin = interval.floor(new Date(span[0] * 1000));
        const way: Span = [begin.getTime() / 1000, interval.offset(begin, 1).getTime() / 1000];
        if (way[0] <= span[0] && way[1] >= span[1] && way[1] - way[0] > span[1] - span[0]) ways.push(way);
    }
    return (
        <p class="time-path">
            <button class="link" onClick={() => on_span(null)}>All time</button>
            {ways.map((way) => [" › ", <button class="link" key={way[1] - way[0]} onClick={() => on_span(way)}>{span_words(way)}</button>])}
            {" › "}<b>{span_words(span)}</b>
        </p>
    );
}
