/** Mails over time: bars of years, months, days or hours. A click on a bar, a drag over some, or the wheel zooms. */
import { brushX, type D3BrushEvent } from "d3-brush";
import { scaleLinear, scaleUtc } from "d3-scale";
import { select } from "d3-selection";
import { utcDay, utcHour, utcMonth, utcYear, type CountableTimeInterval } from "d3-time";
import { useEffect, useLayoutEffect, useMemo, useRef, useState } from "preact/hooks";
import type { Span } from "./filter";
import { count, counted, day, month, time } from "./format";

interface Step {
    interval: CountableTimeInterval;
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
];
const max_bars = 100;
const margin = { left: 44, right: 14, top: 8, bottom: 22 };
const shortest = 3600;

function step_for([from, until]: Span): Step {
    return steps.find((each) => (until - from) / each.seconds <= max_bars) ?? years;
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
    const is_whole = (interval: CountableTimeInterval) => {
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

export interface TimelineProps {
    /** Dates that pass the other sides of the filter. */
    dates: () => Iterable<number>;
    /** Changes whenever `dates` gives others. */
    version: unknown;
    whole: Span;
    span: Span | null;
    on_span: (span: Span | null) => void;
    height: number;
}

export function Timeline({ dates, version, whole, span, on_span, height }: TimelineProps) {
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
    const latest = useRef({ x, bars, zoom_to });
    latest.current = { x, bars, zoom_to };
    useEffect(() => {
        const group = brushed.current;
        if (!group) return;
        const bottom = height - margin.top - margin.bottom;
        const brush = brushX<unknown>().extent([[0, 0], [inner, bottom]]).on("end", (event: D3BrushEvent<unknown>) => {
            const chosen = event.selection as [number, number] | null;
            if (!chosen || !event.sourceEvent) return;
            select(group).call((each) => brush.move(each as never, null));
            const now = latest.current;
            const [from, until] = chosen.map((pixel) => now.x.invert(pixel).getTime() / 1000) as [number, number];
            const covered = now.bars.filter((bar) => bar.until > from && bar.from < until);
            if (covered.length > 0) now.zoom_to(covered[0]!.from, covered[covered.length - 1]!.until);
        });
        select(group).call(brush as never);
    }, [inner, height]);
    const on_click = (event: MouseEvent) => {
        const at = (event.clientX - (brushed.current?.getBoundingClientRect().left ?? 0));
        const moment = x.invert(at).getTime() / 1000;
        const bar = bars.find((each) => moment >= each.from && moment < each.until);
        if (bar && step !== hours) zoom_to(bar.from, bar.until);
    };
    const on_wheel = (event: WheelEvent) => {
        if (!event.ctrlKey && Math.abs(event.deltaY) < Math.abs(event.deltaX)) return;
        event.preventDefault();
        const factor = event.deltaY > 0 ? 1.6 : 1 / 1.6;
        const length = (edges[1] - edges[0]) * factor;
        if (length >= whole[1] - whole[0]) return on_span(null);
        if (length < 6 * shortest) return;
        const at = x.invert(event.clientX - (brushed.current?.getBoundingClientRect().left ?? 0)).getTime() / 1000;
        const from = Math.max(whole[0], at - (at - edges[0]) * factor);
        on_span([Math.round(from), Math.round(Math.min(whole[1], from + length))]);
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
                            <rect class="bar" key={bar.from} x={left(bar.from) + 0.5} width={Math.max(left(bar.until) - left(bar.from) - 1, 0.5)} y={y(bar.mails)}
                                height={y(0) - y(bar.mails)} tabIndex={bar.mails > 0 ? 0 : -1} role="button"
                                aria-label={`${span_words([bar.from, bar.until])}: ${counted(bar.mails, "mail")}`}
                                onKeyDown={(event) => { if (event.key === "Enter" && step !== hours) zoom_to(bar.from, bar.until); }}>
                                <title>{`${span_words([bar.from, bar.until])}: ${counted(bar.mails, "mail")}`}</title>
                            </rect>
                        ))}
                    </g>
                </svg>
            )}
        </div>
    );
}

/** The way back from a zoom: all, the year, the month, the day. */
export function TimePath({ whole, span, on_span }: { whole: Span; span: Span | null; on_span: (span: Span | null) => void }) {
    if (span === null) return <p class="time-path"><b>All time</b> <span class="quiet">{span_words(whole)}</span></p>;
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
