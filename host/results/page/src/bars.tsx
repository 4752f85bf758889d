/** The most frequent values of one side of the filter, as bars that are buttons. */
import { useState } from "preact/hooks";
import { count, visible } from "./format";

interface BarsProps {
    title: string;
    counts: ArrayLike<number>;
    name: (value: number) => string;
    chosen: readonly number[];
    on_toggle: (value: number) => void;
    /** Bars shown at first. */
    first?: number;
    hint?: (value: number) => string;
}

const most_bars = 200;

function largest(counts: ArrayLike<number>, chosen: readonly number[], many: number): number[] {
    const values: number[] = [];
    for (let value = 0; value < counts.length; ++value) if (counts[value]! > 0 || chosen.includes(value)) values.push(value);
    values.sort((one, other) => counts[other]! - counts[one]! || one - other);
    const rest = values.slice(many).filter((value) => chosen.includes(value));
    return [...values.slice(0, many), ...rest];
}

export function Bars({ title, counts, name, chosen, on_toggle, first = 8, hint }: BarsProps) {
    const [is_long, set_long] = useState(false);
    const values = largest(counts, chosen, is_long ? most_bars : first);
    const most = Math.max(1, ...values.map((value) => counts[value]!));
    let all = 0;
    for (let value = 0; value < counts.length; ++value) if (counts[value]! > 0) ++all;
    if (values.length === 0) return null;
    const names = values.map((value) => visible(name(value)) || "(empty)");
    const shown_name = (place: number) => // two people may have one name
        hint && names.indexOf(names[place]!) !== names.lastIndexOf(names[place]!) ? visible(hint(values[place]!)) : names[place]!;
    return (
        <section class="bars" aria-label={title}>
            <h3>{title}{all > first && <span class="quiet"> {count(all)}</span>}</h3>
            <ul>
                {values.map((value, place) => {
                    const is_chosen = chosen.includes(value);
                    return (
                        <li key={value}>
                            <button class={is_chosen ? "bar-button chosen" : "bar-button"} aria-pressed={is_chosen} title={visible(hint?.(value) ?? name(value))} onClick={() => on_toggle(value)}>
                                <span class="fill" style={{ width: `${(100 * counts[value]!) / most}%` }} />
                                <span class="bar-name">{is_chosen && <span aria-hidden="true">✓ </span>}<bdi>{shown_name(place)}</bdi></span>
                                <span class="bar-count">{count(counts[value]!)}</span>
                            </button>
                        </li>
                    );
                })}
            </ul>
            {all > first && (
                <button class="link more" onClick={() => set_long(!is_long)}>{is_long ? "Fewer" : `${count(Math.min(all, most_bars) - first)} more`}</button>
            )}
        </section>
    );
}
