/** The shape of the data files, as `report_data.cpp`, `report_details.cpp` and `report_tables.cpp` write them. */

export const readable_version = 1;

export interface Start {
    version: number;
    program: string;
    /** When the report was written, UTC seconds. */
    made: number;
    /** The same for every report of one result. */
    identity: string;
    result: string;
    /** Address of the result directory, relative to the page. */
    result_address: string;
    /** run.json as text, null when there is none. */
    run: string | null;
    mail_problem: string | null;
    mails: MailFiles;
    tables: TableInfo[];
    /** field, kind, mails, lines */
    differences: [string, string, number, number][];
    /** kind, files */
    stored_files: [string, number][];
}

export interface MailFiles {
    count: number;
    /** 1 when the mails come from Mail.sqlite, 0 when they are rows of `messages`. */
    from_mail: number;
    /** 1 when the mails were compared with their rows. */
    compared: number;
    without_row: number;
    /** Attachments of all mails. */
    files: number;
    /** UTC seconds. */
    first_date: number | null;
    last_date: number | null;
    /** First mail of each file. */
    index: number[];
    details: number[];
    source: number[];
    /** First bucket of each file of the search. */
    search: number[];
    people: number;
    /** Texts and how often they occur, in turn. */
    labels: (string | number)[];
    marks: (string | number)[];
    places: (string | number)[];
}

export interface TableInfo {
    name: string;
    rows: number;
    begins: number[];
    /** name, whether it is a time, whether any row has a value */
    columns: [string, number, number][];
}

/** A part of the index of mails, column by column. */
export interface IndexFile {
    id: number[];
    date: (number | null)[];
    subject: string[];
    from: number[];
    to: number[][];
    labels: number[][];
    kinds: number[];
    marks: number[][];
    flags: number[];
    size: number[];
    thread: number[];
    place: number[];
    row: (number | null)[];
    files: number[];
    /** Name, address, and number of the first person with the same address, of people who occur first in this part. */
    people: (string | number)[];
}

/** Bits of `flags`. */
export const Flag = { has_files: 1, no_text: 2, html_only: 4, no_row: 8, has_problems: 16 } as const;

export interface Part {
    path: string | null;
    type: string | null;
    charset: string | null;
    name: string | null;
    disposition: string | null;
    content_id: string | null;
    encoding: string | null;
    sha256: string | null;
    file: string | null;
    size: number | null;
    kind: number;
    is_text: number;
}

export interface Details {
    sha256: string | null;
    message_id: string | null;
    in_reply_to: string | null;
    thread_id: string | null;
    date_text: string | null;
    subject: string | null;
    row_note: string | null;
    problems: string | null;
    ordinal: number | null;
    offset: number | null;
    length: number | null;
    text: string | null;
    text_bytes: number;
    text_of_html: number;
    html_bytes: number;
    /** role, name, address */
    addresses: [string, string | null, string | null][];
    references: string[];
    parts: Part[];
    /** column, value; null means the same text as `message_text` */
    row_values: [string, string | null][];
    /** field, kind, explanation */
    differences: [string, string, string | null][];
    /** file, kind, path of the part */
    files: [string | null, string, string | null][];
}

export interface Source {
    headers: string | null;
    headers_bytes: number;
    html: string | null;
    html_bytes: number;
}

export type Cell = string | number | null;
/** A part of a table: its columns, null for one without any value there. */
export type TableFile = (Cell[] | null)[];
