/** Plain words for the codes of a result. */
export const kind_names = [
    "Pictures", "Videos", "Sound", "PDF", "Documents", "Spreadsheets", "Slides", "Archives", "Embedded mails",
    "Calendar", "Contacts", "Web pages", "Text", "Programs", "Signatures and keys", "Other",
];

const column_names: Record<string, string> = {
    subject: "subject",
    timestamp: "date",
    message_text: "text",
    from_list: "sender",
    to_list: "recipients",
    cc_list: "Cc",
    email_attachments: "attachment names",
};

const difference_words: Record<string, string> = {
    missing: "is missing in the row",
    shortened: "is shortened in the row",
    undecoded: "is not decoded in the row",
    other: "is different in the row",
    surplus: "is in the row only",
};

const file_words: Record<string, string> = {
    identical: "stored as they are",
    longer: "stored with more bytes than they have",
    shorter: "stored with fewer bytes than they have",
    other: "stored with other bytes",
    missing: "not stored",
};

/** "message_text/shortened" in plain words. */
export function mark_words(mark: string): string {
    const [field = "", kind = ""] = mark.split("/");
    if (field === "file") return `Attachment ${file_words[kind] ?? kind}`.replace("they are", "it is").replace("they have", "it has");
    if (field === "row") return kind === "missing" ? "Mail has no row" : kind === "surplus" ? "Mail has more than one row" : `Row: ${kind}`;
    const name = column_names[field] ?? field;
    const words = difference_words[kind] ?? kind;
    const is_plural = name.endsWith("s");
    return `${name.charAt(0).toUpperCase()}${name.slice(1)} ${is_plural ? words.replace(/^is /, "are ") : words}`;
}

export function file_kind_words(kind: string): string {
    return file_words[kind] ?? kind;
}

export function column_words(column: string): string {
    return column_names[column] ?? column.replace(/_/g, " ");
}

const state_words: Record<string, string> = {
    complete: "The run was completed.",
    "in progress": "The run did not finish: its record still says “in progress”. Rows and files may be missing.",
    failed: "The run failed: it left no readable result database.",
    cancelled: "The run was cancelled. Everything extracted up to then was kept; the rest is missing.",
};

export function run_words(state: string): string {
    return state_words[state] ?? `The record says “${state}”.`;
}

const scheme_words: Record<string, string> = {
    gTakeoutOS: "Google Takeout",
    androidOS: "Android",
    macOS: "macOS",
    iOS_UID: "iOS backup",
    winOS: "Windows",
};

export function scheme_name(scheme: string): string {
    return scheme_words[scheme] ?? scheme;
}
