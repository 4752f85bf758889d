/** The mail and its row in `messages` side by side; differences are marked and explained. */
import type { Details } from "./data";
import { column_words, file_kind_words } from "./explain";
import { utc, visible_lines } from "./format";
import { Fact, Facts, Value } from "./parts";

interface Line {
    column: string;
    mail: string;
    row: string;
    difference: [kind: string, explanation: string | null] | null;
}

function people(details: Details, role: string): string {
    return details.addresses
        .filter(([each]) => each === role)
        .map(([, name, address]) => (name && address ? `${name} <${address}>` : (name ?? address ?? "")))
        .join(", ");
}

function time_words(text: string): string {
    return text === "0" ? "0 (means a date that was not read)" : /^-?\d+$/.test(text) ? utc(Number(text)) : text;
}

/** The mail's value for each column of the row. */
function lines_of(details: Details, date: number): Line[] {
    const row = new Map(details.row_values.map(([column, value]) => [column, value ?? row_text(details)]));
    const stored = [...row.entries()];
    const of_mail: Record<string, string> = {
        subject: details.subject ?? "",
        timestamp: Number.isNaN(date) ? "" : utc(date),
        from_list: people(details, "from"),
        to_list: people(details, "to"),
        cc_list: people(details, "cc"),
        bcc_list: people(details, "bcc"),
        reply_to_list: people(details, "reply-to"),
        message_text: details.text ?? "",
        email_attachments: details.parts.filter((part) => part.is_text === 0).map((part) => part.name ?? "(no name)").join(", "),
    };
    const columns = new Set([...Object.keys(of_mail), ...details.differences.map(([field]) => field).filter((field) => field !== "row")]);
    const lines: Line[] = [];
    for (const column of columns) {
        const found = details.differences.find(([field]) => field === column);
        const value = stored.find(([name]) => name === column)?.[1] ?? "";
        const shown = column === "timestamp" || column.startsWith("date_") ? (value === "" ? "" : time_words(value)) : value;
        if (shown !== "" || (of_mail[column] ?? "") !== "")
            lines.push({ column, mail: of_mail[column] ?? "", row: shown, difference: found ? [found[1], found[2]] : null });
    }
    return lines;
}

function row_text(details: Details): string {
    return details.row_values.find(([column]) => column === "message_text")?.[1] ?? "";
}

/** The position up to which two texts are the same, so that a long text is shown where they differ. */
function common(one: string, other: string): number {
    const most = Math.min(one.length, other.length);
    let at = 0;
    while (at < most && one.charCodeAt(at) === other.charCodeAt(at)) ++at;
    return at;
}

const around = 160;

/** The value near the place where the two begin to differ; the rest of it is marked. */
function Cut({ text, same, is_marked }: { text: string; same: number; is_marked: boolean }) {
    if (text === "") return <span class="quiet">(empty)</span>;
    const begin = is_marked && same > around ? same - around : 0;
    const end = is_marked ? same + around : 2 * around;
    const apart = is_marked ? Math.max(same, begin) : end;
    return (
        <span class="cut">
            {begin > 0 && "…"}
            <bdi>{visible_lines(text.slice(begin, apart))}</bdi>
            {is_marked && (same < text.length ? <mark class="differs"><bdi>{visible_lines(text.slice(apart, end))}</bdi></mark> : <mark class="differs">⟨ends here⟩</mark>)}
            {text.length > end && "…"}
        </span>
    );
}

function Beside({ line }: { line: Line }) {
    const is_time = line.column === "timestamp" || line.column.startsWith("date_");
    const same = line.difference && !is_time ? common(line.mail, line.row) : 0;
    const is_marked = line.difference !== null;
    return (
        <>
            <tr class={is_marked ? "differing" : ""}>
                <th scope="row">{is_marked && <span class="sign" aria-label="differs">≠ </span>}{column_words(line.column)}<span class="column-name">{line.column}</span></th>
                <td><Cut text={line.mail} same={same} is_marked={is_marked} /></td>
                <td><Cut text={line.row} same={same} is_marked={is_marked} /></td>
            </tr>
            {line.difference?.[1] && <tr class="differing why"><td /><td colSpan={2}><Value>{line.difference[1]}</Value></td></tr>}
        </>
    );
}

export function RowBeside(props: { details: Details; row: number; date: number; differs: boolean; is_print: boolean }) {
    const { details, row, date, differs, is_print } = props;
    const of_row = details.differences.filter(([field]) => field === "row");
    const files = details.files.filter(([, kind]) => kind !== "identical");
    const rest = details.row_values.filter(([column]) => !["message_text", "snippet", "subject", "timestamp", "INT", "bookmark"].includes(column) && !column.endsWith("_list") && column !== "email_attachments");
    return (
        <section>
            <h3>{row < 0 ? "No row in messages" : `Row ${row} in messages`}{row >= 0 && <span class={differs ? "state differs" : "state"}>{differs ? "≠ differs" : "= the same"}</span>}</h3>
            {of_row.map(([, , explanation], at) => <p class="note" key={at}><Value>{explanation ?? ""}</Value></p>)}
            {row < 0 && of_row.length === 0 && details.row_note && <p class="note"><Value>{details.row_note}</Value></p>}
            {row >= 0 && (
                <table class="beside">
                    <thead><tr><th /><th>The mail</th><th>Its row</th></tr></thead>
                    <tbody>{lines_of(details, date).map((line) => <Beside key={line.column} line={line} />)}</tbody>
                </table>
            )}
            {files.length > 0 && (
                <ul class="note-list">
                    {files.map(([file, kind, path], at) => (
                        <li key={at}>{path ? `Part ${path}` : "A file that is not a part"} is {file_kind_words(kind).replace("they are", "it is").replace("they have", "it has")}{file && <>: <Value>{file}</Value></>}</li>
                    ))}
                </ul>
            )}
            {row >= 0 && !is_print && (
                <details>
                    <summary>All other columns of the row</summary>
                    <Facts>{rest.map(([column, value]) => <Fact name={column} key={column}><Value>{(value ?? "").slice(0, 2000)}</Value></Fact>)}</Facts>
                </details>
            )}
        </section>
    );
}
