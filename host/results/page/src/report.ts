/** The state shared by all views: the report's data and the examiner's choices. */
import { Bookmarks } from "./bookmarks";
import type { Start } from "./data";
import type { Filter, Span } from "./filter";
import { Passed } from "./filter";
import { Mails, texts_of } from "./mails";
import { Sorter, type Order } from "./order";
import { max_seconds } from "./format";
import type { Beyond } from "./timeline";

export interface Report {
    start: Start;
    mails: Mails;
    sorter: Sorter;
    bookmarks: Bookmarks;
    labels: string[];
    marks: string[];
    places: string[];
}

export function report_of(start: Start): Report {
    const mails = new Mails(start.mails);
    return {
        start,
        mails,
        sorter: new Sorter(mails),
        bookmarks: new Bookmarks(`gmail report ${start.identity} ${start.mails.from_mail}`),
        labels: texts_of(start.mails.labels),
        marks: texts_of(start.mails.marks),
        places: texts_of(start.mails.places).map((place) => place.replace("\n", " ")),
    };
}

export type View = "overview" | "mails" | "tables" | "print";

/** Everything that changes while the page is open. */
export interface Now {
    view: View;
    table: string;
    filter: Filter;
    order: Order;
    /** Current mail, -1 for none. */
    mail: number;
    is_open: boolean;
    /** Grows whenever mails were loaded or bookmarks changed. */
    version: number;
    /** Mails of the print view. */
    printed: number[];
}

export interface Listed {
    passed: Passed;
    rows: Int32Array;
    /** The mails with the words of the query are not known yet. */
    is_searching: boolean;
}

/** The span first shown in the picture of time: mails far off (1970, 2036) do not squeeze all others together. */
export function usual_span(mails: Mails): { whole: Span; beyond: Beyond | null } | null {
    const dates = mails.date.subarray(0, mails.loaded).filter((date) => Math.abs(date) < max_seconds).sort();
    if (dates.length === 0) return null;
    const at = (share: number) => dates[Math.floor(share * (dates.length - 1))]!;
    const [low, high] = [at(0.01), at(0.99)];
    const room = Math.max((high - low) * 0.5, 86_400 * 365);
    const every: Span = [dates[0]!, dates[dates.length - 1]! + 1];
    const whole: Span = [Math.max(every[0], low - room), Math.min(every[1], high + room)];
    const far = dates.filter((date) => date < whole[0] || date >= whole[1]).length;
    return { whole, beyond: far === 0 ? null : { mails: far, span: every } };
}
