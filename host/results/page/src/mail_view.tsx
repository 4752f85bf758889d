/** One mail: its fields, text, parts and thread, and its row beside it. */
import { useEffect, useState } from "preact/hooks";
import { find_file, load } from "./chunks";
import { Flag, type Details, type Source } from "./data";
import { count, counted, day, long_utc, size, visible } from "./format";
import { link_to, picture_of } from "./links";
import { Fact, Facts, LongText, Value } from "./parts";
import type { Report } from "./report";
import { RowBeside } from "./row_beside";

export async function load_details(report: Report, mail: number): Promise<Details> {
    const { file, at } = find_file(report.start.mails.details, mail);
    const found = (await load<Details[]>("details", file))[at];
    if (!found) throw new Error(`data/details-${file}.js has no mail ${at}; write the report again`);
    return found;
}

interface MailProps {
    report: Report;
    mail: number;
    words: readonly string[];
    is_print?: boolean;
    on_open?: (mail: number) => void;
    on_bookmark?: () => void;
    on_print?: () => void;
    on_close?: () => void;
}

export function MailView(props: MailProps) {
    const { report, mail } = props;
    const [loaded, set_loaded] = useState<{ mail: number; details: Details } | null>(null);
    const [problem, set_problem] = useState("");
    useEffect(() => {
        let is_wanted = true;
        load_details(report, mail).then(
            (details) => is_wanted && set_loaded({ mail, details }),
            (error: Error) => is_wanted && set_problem(error.message),
        );
        return () => { is_wanted = false; };
    }, [mail]);
    if (problem) return <p class="problem">{problem}</p>;
    if (!loaded || loaded.mail !== mail) return <div class="mail-view" aria-busy="true" />;
    return <MailSheet {...props} details={loaded.details} />;
}

function MailSheet(props: MailProps & { details: Details }) {
    const { report, mail, details, words, is_print } = props;
    const { mails, start } = report;
    const date = mails.date[mail]!;
    const differs = details.differences.length > 0 || details.files.some(([, kind]) => kind !== "identical");
    return (
        <article class="mail-view" aria-label="Mail">
            <header>
                {!is_print && <Actions {...props} />}
                <h2>{details.subject ? <Value>{details.subject}</Value> : <span class="quiet">(no subject)</span>}</h2>
                <p class="mail-date">
                    {Number.isNaN(date) ? <span class="quiet">No readable date</span> : long_utc(date)}
                    {details.date_text && <span class="quiet"> · written as <Value>{details.date_text}</Value></span>}
                </p>
                <People details={details} />
                <p class="chips">{mails.labels[mail]?.map((label) => <span class="chip" key={label}><Value>{report.labels[label] ?? ""}</Value></span>)}</p>
            </header>
            {details.problems && (
                <div class="note">
                    <p>Not everything in this mail could be read:</p>
                    {details.problems.split("\n").map((problem, at) => <p key={at}><Value>{problem}</Value></p>)}
                </div>
            )}
            <section>
                {details.text === null ? (
                    <p class="quiet">{details.html_bytes > 0 ? "This mail has HTML only, without any text in it." : "This mail has no text."}</p>
                ) : (
                    <>
                        {details.text_of_html === 1 && <p class="quiet">The mail has no plain text: this is the text of its HTML.</p>}
                        <LongText words={words}>{details.text}</LongText>
                        {details.text_bytes > 4_194_304 && <p class="note">The text is {size(details.text_bytes)} long; this report shows its beginning, Mail.sqlite contains all of it.</p>}
                    </>
                )}
            </section>
            <Parts report={report} details={details} />
            {start.mails.compared === 1 && <RowBeside details={details} row={mails.row[mail]!} date={date} differs={differs} is_print={is_print ?? false} />}
            <Thread {...props} />
            {start.mails.from_mail === 0 && <RowAlone details={details} />}
            <Technical report={report} mail={mail} details={details} />
            {!is_print && <SourceOnDemand report={report} mail={mail} key={mail} />}
        </article>
    );
}

function Actions({ report, mail, on_bookmark, on_print, on_close }: MailProps) {
    const is_marked = report.bookmarks.ids.has(report.mails.id[mail]!);
    return (
        <div class="actions">
            <button aria-pressed={is_marked} class={is_marked ? "star marked" : "star"} onClick={on_bookmark}>{is_marked ? "★ Bookmarked" : "☆ Bookmark"}</button>
            <button onClick={on_print}>Print</button>
            <button class="close" onClick={on_close} aria-label="Close the mail">✕</button>
        </div>
    );
}

const role_names: Record<string, string> = { from: "From", sender: "Sender", "reply-to": "Reply to", "reply-to-list": "Reply to", to: "To", cc: "Cc", bcc: "Bcc" };

function People({ details }: { details: Details }) {
    const roles = [...new Set(details.addresses.map(([role]) => role))];
    return (
        <Facts>
            {roles.map((role) => (
                <Fact name={role_names[role] ?? role} key={role}>
                    <ul class="people">
                        {details.addresses.filter(([each]) => each === role).map(([, name, address], at) => (
                            <li key={at}>{name && <Value>{name}</Value>} {address && <span class="address"><Value>{address}</Value></span>}</li>
                        ))}
                    </ul>
                </Fact>
            ))}
        </Facts>
    );
}

function Parts({ report, details }: { report: Report; details: Details }) {
    const parts = details.parts.filter((part) => part.is_text === 0);
    if (parts.length === 0) return null;
    const base = report.start.result_address;
    return (
        <section>
            <h3>{counted(parts.length, "attachment")}</h3>
            <ul class="part-list">
                {parts.map((part, at) => {
                    const link = link_to(base, part.file);
                    const picture = picture_of(base, part.file, part.size);
                    const name = part.name ? visible(part.name) : "(no name)";
                    return (
                        <li key={at} class="part">
                            {picture && <a href={link ?? picture} target="_blank" rel="noopener noreferrer"><img src={picture} alt={name} loading="lazy" decoding="async" /></a>}
                            <div>
                                <p class="part-name">{link ? <a href={link} target="_blank" rel="noopener noreferrer"><bdi>{name}</bdi></a> : <bdi>{name}</bdi>}</p>
                                <p class="quiet">{[part.type && visible(part.type), part.size !== null && size(part.size), part.path && `part ${part.path}`].filter(Boolean).join(" · ")}</p>
                                {!link && <p class="quiet file-path">{part.file ? <>Not opened from here. File: <Value>{part.file}</Value></> : "Its bytes are not in the result."}</p>}
                                {part.sha256 && <p class="hash">SHA-256 {part.sha256}</p>}
                            </div>
                        </li>
                    );
                })}
            </ul>
        </section>
    );
}

const max_thread = 200;

function Thread({ report, mail, on_open }: MailProps) {
    const { mails } = report;
    const all = mails.thread_of(mail);
    if (all.length < 2) return null;
    return (
        <section>
            <h3>Conversation of {counted(all.length, "mail")}</h3>
            <ol class="thread">
                {all.slice(0, max_thread).map((each) => (
                    <li key={each} class={each === mail ? "here" : ""}>
                        <button class="link" aria-current={each === mail} onClick={() => on_open?.(each)}>
                            <span class="thread-date">{Number.isNaN(mails.date[each]!) ? "no date" : day(mails.date[each]!)}</span>
                            <Value>{mails.person(mails.from[each]!) || "(no sender)"}</Value>
                            <span class="quiet"> <Value>{mails.subject[each] ?? ""}</Value></span>
                        </button>
                    </li>
                ))}
            </ol>
            {all.length > max_thread && <p class="quiet">The first {count(max_thread)} are listed.</p>}
        </section>
    );
}

function RowAlone({ details }: { details: Details }) {
    return (
        <section>
            <h3>Row in messages</h3>
            <Facts>{details.row_values.map(([column, value]) => <Fact name={column} key={column}>{value === null ? "the same as message_text" : <Value>{value.slice(0, 2000)}</Value>}</Fact>)}</Facts>
        </section>
    );
}

function Technical({ report, mail, details }: { report: Report; mail: number; details: Details }) {
    const { mails } = report;
    if (report.start.mails.from_mail === 0) return null;
    const place = details.offset === null ? null : `${count(details.length ?? 0)} bytes from byte ${count(details.offset)} on`;
    return (
        <section>
            <h3>Where it comes from</h3>
            <Facts>
                <Fact name="Mail">{`${mails.id[mail]}`}</Fact>
                <Fact name="Source"><Value>{report.places[mails.place[mail]!] ?? ""}</Value></Fact>
                <Fact name="Place">{[details.ordinal !== null && `mail ${count(details.ordinal)} of the file`, place].filter(Boolean).join(", ")}</Fact>
                <Fact name="SHA-256">{details.sha256 && <span class="hash">{details.sha256}</span>}</Fact>
                <Fact name="Message-ID">{details.message_id && <Value>{details.message_id}</Value>}</Fact>
                <Fact name="In reply to">{details.in_reply_to && <Value>{details.in_reply_to}</Value>}</Fact>
                <Fact name="References">{details.references.length > 0 && <Value>{details.references.join("  ")}</Value>}</Fact>
                <Fact name="Gmail thread">{details.thread_id && <Value>{details.thread_id}</Value>}</Fact>
                <Fact name="Remarks">{((mails.flags[mail]! & Flag.no_row) !== 0 && (details.row_note ?? "It has no row.")) || null}</Fact>
            </Facts>
        </section>
    );
}

function SourceOnDemand({ report, mail }: { report: Report; mail: number }) {
    const [source, set_source] = useState<Source | null>(null);
    const [problem, set_problem] = useState("");
    if (report.start.mails.from_mail === 0) return null;
    const ask = () => {
        const { file, at } = find_file(report.start.mails.source, mail);
        load<Source[]>("source", file).then((all) => set_source(all[at] ?? null), (error: Error) => set_problem(error.message));
    };
    return (
        <section class="source">
            <details onToggle={(event) => (event.currentTarget as HTMLDetailsElement).open && !source && ask()}>
                <summary>Headers and HTML as stored</summary>
                {problem && <p class="problem">{problem}</p>}
                {source && (
                    <>
                        <h4>Headers</h4>
                        {source.headers ? <LongText>{source.headers}</LongText> : <p class="quiet">None.</p>}
                        <h4>HTML, as text: nothing in it is run or loaded</h4>
                        {source.html ? <LongText>{source.html}</LongText> : <p class="quiet">None.</p>}
                        {source.html_bytes > 4_194_304 && <p class="note">This is the beginning of {size(source.html_bytes)}.</p>}
                    </>
                )}
            </details>
        </section>
    );
}

