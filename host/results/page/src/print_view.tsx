/** Mails on paper: all chosen ones, one after the other. */
import { useEffect, useState } from "preact/hooks";
import { counted, utc } from "./format";
import { load_details, MailView } from "./mail_view";
import { Value } from "./parts";
import type { Now, Report } from "./report";

export const max_printed = 300;

interface PrintProps {
    report: Report;
    now: Now;
    change: (part: Partial<Now>) => void;
}

export function PrintView({ report, now, change }: PrintProps) {
    const mails = now.printed.slice(0, max_printed);
    const [is_ready, set_ready] = useState(false);
    useEffect(() => {
        let is_wanted = true;
        void Promise.allSettled(mails.map((mail) => load_details(report, mail))).then(() => is_wanted && set_ready(true));
        return () => { is_wanted = false; };
    }, [now.printed]);
    return (
        <div class="print-view">
            <div class="print-bar">
                <button class="primary" disabled={!is_ready} onClick={() => window.print()}>{is_ready ? "Print" : "Loading…"}</button>
                <button onClick={() => change({ view: "mails" })}>Back to the list</button>
                <p>{counted(mails.length, "mail")}{now.printed.length > mails.length && ` of ${now.printed.length}: at most ${max_printed} are printed at a time`}</p>
            </div>
            <header class="print-head">
                <p><Value>{report.start.result}</Value></p>
                <p>{counted(mails.length, "mail")} · report of {utc(report.start.made)} · all times UTC</p>
            </header>
            {is_ready && mails.map((mail) => <MailView key={mail} report={report} mail={mail} words={[]} is_print />)}
        </div>
    );
}
