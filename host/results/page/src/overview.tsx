/** The sources, how the run ended, what the rows contain and what they do not. */
import { useMemo } from "preact/hooks";
import { file_kind_words, mark_words, run_words, scheme_name } from "./explain";
import { no_filter, toggled } from "./filter";
import { count, counted, iso_utc, size, utc } from "./format";
import { SideBars, type ViewProps } from "./mails_view";
import { Fact, Facts, Value } from "./parts";
import { usual_span, type Report } from "./report";
import { list_of, number_of, object_of, text_of, type Json } from "./run";
import { span_words, TimePath, Timeline } from "./timeline";

export function Overview(props: ViewProps & { run: Json | null }) {
    const { report, now, listed, change, run } = props;
    const usual = useMemo(() => usual_span(report.mails), [report.mails.loaded]);
    return (
        <div class="overview">
            <Summary report={report} run={run} />
            {usual && (
                <section class="card wide">
                    <h2>Mails over time <span class="quiet">UTC</span></h2>
                    <TimePath whole={usual.whole} beyond={usual.beyond} span={now.filter.span} on_span={(span) => change({ filter: { ...now.filter, span } })} />
                    <Timeline dates={() => listed.passed.dates()} version={listed.passed} whole={usual.whole} span={now.filter.span} height={190}
                        on_span={(span) => change({ filter: { ...now.filter, span } })} />
                    {now.filter.span && <button onClick={() => change({ view: "mails" })}>Show these mails</button>}
                </section>
            )}
            {report.mails.loaded < report.mails.count && <p class="wide quiet" role="status">Loading the list of mails…</p>}
            {report.mails.loaded > 0 && <section class="card wide pictures"><SideBars {...props} only={["people", "labels", "kinds"]} /></section>}
            <RowsAndMails {...props} />
            <Tables {...props} run={run} />
            {run && <Sources run={run} />}
            {run && <Troubles run={run} />}
            {run && <Programs report={report} run={run} />}
        </div>
    );
}

function Summary({ report, run }: { report: Report; run: Json | null }) {
    const { start } = report;
    const { first_date, last_date } = start.mails;
    const failures = run ? number_of(run, "failures") : null;
    const figures: [string, string][] = [
        [count(start.mails.count), start.mails.from_mail ? "mails" : "rows of messages"],
        [count(start.mails.people), "correspondents"],
        [count(start.mails.files), "attachments"],
        [first_date === null || last_date === null ? "–" : span_words([first_date, last_date + 1]), "first to last date"],
    ];
    return (
        <section class="summary">
            <h1>{(run && text_of(run, "case")) || "Gmail artifacts"}</h1>
            <p class="lead">
                {run ? run_words(text_of(run, "state")) : "There is no record of the run (run.json) beside this result, so this report cannot say what was examined or how it ended."}
                {failures !== null && failures > 0 && <strong> {counted(failures, "failure")} {failures === 1 ? "was" : "were"} logged.</strong>}
                {failures === 0 && " No failures were logged."}
            </p>
            {start.mail_problem && <p class="note">The mails are shown as the rows of messages have them. <Value>{start.mail_problem}</Value></p>}
            <ul class="figures">{figures.map(([figure, name]) => <li key={name}><b>{figure}</b> <span>{name}</span></li>)}</ul>
            <Facts>
                {run && text_of(run, "examiner") && <Fact name="Examiner"><Value>{text_of(run, "examiner")}</Value></Fact>}
                {run && <Fact name="Extracted">{times(run)}</Fact>}
                <Fact name="Result"><Value>{start.result}</Value></Fact>
                <Fact name="Report written">{utc(start.made)}</Fact>
            </Facts>
        </section>
    );
}

function times(run: Json): string {
    const begin = text_of(run, "started");
    const end = text_of(run, "ended");
    return end ? `${iso_utc(begin)} to ${iso_utc(end)}` : begin ? `begun ${iso_utc(begin)}` : "";
}

function RowsAndMails({ report, change }: ViewProps) {
    const { start, marks } = report;
    const { count: all, without_row } = start.mails;
    if (start.mails.from_mail === 0) return null;
    const lines = start.differences.map(([field, kind, many]) => ({ mark: `${field}/${kind}`, many }));
    const stored = start.stored_files.reduce((sum, [, files]) => sum + files, 0);
    const show = (mark: string) => change({ view: "mails", filter: toggled(no_filter, "marks", marks.indexOf(mark)) });
    return (
        <section class="card">
            <h2>What the rows contain, and what they do not</h2>
            <p>{start.mails.compared === 0 ? "The mails have not been compared with the rows: the reading ended before that. “gmail_host read” compares them." : without_row === 0 ? "Every mail has a row." : `${counted(all - without_row, "mail")} of ${count(all)} ${all - without_row === 1 ? "has" : "have"} a row in messages, ${count(without_row)} ${without_row === 1 ? "has" : "have"} none.`}</p>
            <table class="counts">
                <tbody>
                    {lines.map(({ mark, many }) => (
                        <tr key={mark}>
                            <th scope="row">{marks.includes(mark) ? <button class="link" onClick={() => show(mark)}>{mark_words(mark)}</button> : mark_words(mark)}</th>
                            <td class="numbers">{counted(many, "mail")}</td>
                        </tr>
                    ))}
                    {lines.length === 0 && start.mails.compared === 1 && <tr><td colSpan={2}>No row differs from its mail.</td></tr>}
                </tbody>
            </table>
            {stored > 0 && (
                <table class="counts">
                    <caption>Attachment files of the rows</caption>
                    <tbody>{start.stored_files.map(([kind, files]) => <tr key={kind}><th scope="row">{file_kind_words(kind)}</th><td class="numbers">{counted(files, "file")}</td></tr>)}</tbody>
                </table>
            )}
        </section>
    );
}

function Tables({ report, change, run }: ViewProps & { run: Json | null }) {
    const balances = run ? list_of(run, "sources").flatMap((source) => list_of(source, "tables")) : [];
    const sum = (table: string, key: string) => {
        const values = balances.filter((each) => text_of(each, "table") === table).map((each) => number_of(each, key));
        return values.length === 0 || values.some((value) => value === null) ? null : values.reduce<number>((all, value) => all + (value ?? 0), 0);
    };
    const reasons = (table: string) => balances.filter((each) => text_of(each, "table") === table).flatMap((each) => list_of(each, "differences"));
    return (
        <section class="card">
            <h2>Tables</h2>
            <table class="counts">
                <thead><tr><th /><th class="numbers">rows</th><th class="numbers">expected</th></tr></thead>
                <tbody>
                    {report.start.tables.map(({ name, rows }) => {
                        const expected = sum(name, "rows_expected");
                        return (
                            <tr key={name}>
                                <th scope="row"><button class="link" onClick={() => change({ view: "tables", table: name })}>{name}</button>
                                    {reasons(name).map((each, at) => <p class="quiet" key={at}>{counted(number_of(each, "rows") ?? 0, "row")}: <Value>{text_of(each, "reason")}</Value></p>)}</th>
                                <td class="numbers">{count(rows)}</td>
                                <td class="numbers">{expected === null ? "–" : count(expected)}</td>
                            </tr>
                        );
                    })}
                </tbody>
            </table>
        </section>
    );
}

const max_listed = 500;

function Sources({ run }: { run: Json }) {
    return (
        <section class="card wide">
            <h2>What was examined</h2>
            {list_of(run, "sources").map((source, at) => {
                const files = list_of(source, "files");
                return (
                    <div key={at} class="source-block">
                        <h3>Source{number_of(source, "source_count")} <span class="quiet">{scheme_name(text_of(source, "scheme"))}{text_of(source, "user") && `, user ${text_of(source, "user")}`}</span></h3>
                        <Facts>
                            <Fact name="Given">{list_of(source, "given").map((each, number) => <p key={number}><Value>{text_of(each, "path")}</Value> <span class="quiet">{text_of(each, "type")}</span>{text_of(each, "sha256_before") && <span class="hash"> SHA-256 {text_of(each, "sha256_before")}</span>}</p>)}</Fact>
                            <Fact name="Remarks">{texts_in(source, "remarks")}</Fact>
                            <Fact name="Left out">{texts_in(source, "skipped_paths")}</Fact>
                        </Facts>
                        {files.length > 0 && <div class="scrolls">
                            <table class="files">
                                <thead><tr><th>File read</th><th class="numbers">Size</th><th>During the run</th><th>SHA-256</th></tr></thead>
                                <tbody>
                                    {files.slice(0, max_listed).map((file, number) => {
                                        const [before, after] = [text_of(file, "sha256_before"), text_of(file, "sha256_after")];
                                        return (
                                            <tr key={number}>
                                                <th scope="row"><Value>{text_of(file, "source_file")}</Value></th>
                                                <td class="numbers">{size(number_of(file, "size") ?? 0)}</td>
                                                <td>{before === "" ? "not hashed" : before === after ? "unchanged" : <strong>{after === "" ? "not hashed again" : "≠ changed"}</strong>}</td>
                                                <td class="hash">{before}</td>
                                            </tr>
                                        );
                                    })}
                                </tbody>
                            </table>
                        </div>}
                        {files.length > max_listed && <p class="quiet">{count(files.length - max_listed)} more files are listed in run.json.</p>}
                    </div>
                );
            })}
        </section>
    );
}

function texts_in(object: Json, key: string) {
    const value = object[key];
    const texts = Array.isArray(value) ? value.filter((each): each is string => typeof each === "string") : [];
    if (texts.length === 0) return null;
    return [...texts.slice(0, max_listed).map((each, at) => <p key={at}><Value>{each}</Value></p>), texts.length > max_listed && <p class="quiet">{count(texts.length - max_listed)} more are in run.json.</p>];
}

function Troubles({ run }: { run: Json }) {
    const lines = texts_in(run, "failure_lines");
    if (!lines) return null;
    return <section class="card wide"><h2>Failures logged</h2><div class="log-lines">{lines}</div></section>;
}

function Programs({ report, run }: { report: Report; run: Json }) {
    const programs = object_of(run, "programs");
    const database = object_of(run, "result_database");
    return (
        <section class="card wide">
            <h2>Programs</h2>
            <Facts>
                {Object.keys(programs).map((name) => <Fact name={name} key={name}><Value>{text_of(programs, name)}</Value></Fact>)}
                <Fact name="Arguments">{Array.isArray(run["arguments"]) && <Value>{run["arguments"].map(String).join(" ")}</Value>}</Fact>
                <Fact name="Time zone of the machine"><Value>{text_of(run, "host_time_zone")}</Value></Fact>
                <Fact name="Gmail.sqlite">{text_of(database, "sha256") && <span class="hash">SHA-256 {text_of(database, "sha256")}</span>}</Fact>
                <Fact name="This report">{`gmail_host ${report.start.program}; its libraries and their licences are in licences.txt`}</Fact>
            </Facts>
        </section>
    );
}
