/** Pieces that several views draw. Values of the evidence are always children, so always text. */
import type { ComponentChildren } from "preact";
import { visible, visible_lines } from "./format";

/** A value of one line. */
export function Value({ children }: { children: string }) {
    return <bdi>{visible(children)}</bdi>;
}

/** A value of several lines, with the words that were searched for marked. */
export function LongText({ children, words }: { children: string; words?: readonly string[] }) {
    const text = visible_lines(children);
    return <div class="long-text" dir="auto">{words && words.length > 0 ? marked(text, words) : text}</div>;
}

const max_marks = 2000;

function marked(text: string, words: readonly string[]): ComponentChildren {
    const pattern = new RegExp(`(?<![\\p{L}\\p{N}])(?:${words.map((word) => word.replace(/[^\p{L}\p{N}]/gu, "")).join("|")})[\\p{L}\\p{N}]*`, "giu");
    const pieces: ComponentChildren[] = [];
    let end = 0;
    for (const found of text.matchAll(pattern)) {
        if (pieces.length > 2 * max_marks) break;
        pieces.push(text.slice(end, found.index), <mark key={found.index}>{found[0]}</mark>);
        end = found.index + found[0].length;
    }
    return [...pieces, text.slice(end)];
}

export function Facts({ children }: { children: ComponentChildren }) {
    return <dl class="facts">{children}</dl>;
}

export function Fact({ name, children }: { name: string; children: ComponentChildren }) {
    if (children === null || children === undefined || children === false || children === "") return null;
    return (
        <>
            <dt>{name}</dt>
            <dd>{children}</dd>
        </>
    );
}
