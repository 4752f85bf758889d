/** Rows of a long list are drawn as they come into view. */
import { elementScroll, observeElementOffset, observeElementRect, Virtualizer } from "@tanstack/virtual-core";
import { useLayoutEffect, useMemo, useReducer } from "preact/hooks";
import type { RefObject } from "preact";

export const row_height = 30;
const rows_beyond = 10; // drawn above and below the view

export function useVirtualRows(rows: number, scrolled: RefObject<HTMLDivElement | null>): Virtualizer<HTMLDivElement, HTMLDivElement> {
    const [, draw] = useReducer((times: number) => times + 1, 0);
    const options = {
        count: rows,
        getScrollElement: () => scrolled.current,
        estimateSize: () => row_height,
        overscan: rows_beyond,
        scrollPaddingStart: 2 * row_height, // the head covers the first
        scrollPaddingEnd: 2 * row_height,
        observeElementRect,
        observeElementOffset,
        scrollToFn: elementScroll,
        onChange: () => draw(undefined),
    };
    const virtual = useMemo(() => new Virtualizer<HTMLDivElement, HTMLDivElement>(options), []);
    virtual.setOptions(options);
    useLayoutEffect(() => virtual._didMount(), []);
    useLayoutEffect(() => virtual._willUpdate());
    return virtual;
}
