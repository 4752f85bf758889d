#include "host/reading/reading_report.h"

#include <QJsonArray>

namespace {

struct count_key
{
    QLatin1StringView key;
    qint64 (*read)(const reading_report &);
    void (*write)(reading_report &, qint64);
};

template <auto Member>
constexpr count_key of_reading(const char *key)
{
    return {QLatin1StringView(key), [](const reading_report &report) { return report.reading.*Member; },
            [](reading_report &report, qint64 value) { report.reading.*Member = value; }};
}

template <auto Member>
constexpr count_key of_comparison(const char *key)
{
    return {QLatin1StringView(key), [](const reading_report &report) { return report.comparison.*Member; },
            [](reading_report &report, qint64 value) { report.comparison.*Member = value; }};
}

template <auto Member>
constexpr count_key of_attachments(const char *key)
{
    return {QLatin1StringView(key), [](const reading_report &report) { return report.comparison.attachments.*Member; },
            [](reading_report &report, qint64 value) { report.comparison.attachments.*Member = value; }};
}

constexpr count_key reading_keys[] = {
    of_reading<&reading_totals::mails>("mails"),
    of_reading<&reading_totals::mails_with_problems>("mails_with_problems"),
    of_reading<&reading_totals::mails_given_up>("mails_given_up"),
    of_reading<&reading_totals::parts>("parts"),
    of_reading<&reading_totals::files_written>("part_files"),
};

constexpr count_key comparison_keys[] = {
    of_comparison<&comparison_totals::without_row>("mails_without_row"),
    of_comparison<&comparison_totals::shortened_text>("rows_with_shortened_or_empty_text"),
    of_comparison<&comparison_totals::unread_date>("rows_with_unread_date"),
    of_comparison<&comparison_totals::other_sender>("rows_with_other_sender"),
    of_comparison<&comparison_totals::other_subject>("rows_with_other_subject"),
    of_comparison<&comparison_totals::surplus_rows>("surplus_rows"),
    of_attachments<&attachment_comparison::counts::identical>("attachments_identical"),
    of_attachments<&attachment_comparison::counts::altered>("attachments_altered"),
    of_attachments<&attachment_comparison::counts::missing>("attachments_missing"),
};

QStringList texts_of(const QJsonValue &array)
{
    QStringList texts;
    for (const QJsonValue &each : array.toArray())
        texts.append(each.toString());
    return texts;
}

} // namespace

QJsonObject counts_as_json(const reading_report &report)
{
    QJsonObject object;
    for (const count_key &each : reading_keys)
        object[each.key] = each.read(report);
    for (const count_key &each : comparison_keys) // null when nothing was compared
        object[each.key] = report.is_compared ? QJsonValue(each.read(report)) : QJsonValue();
    return object;
}

QJsonObject as_json(const reading_report &report)
{
    QJsonObject object = counts_as_json(report);
    object[QLatin1StringView("is_compared")] = report.is_compared;
    object[QLatin1StringView("cancelled")] = report.reading.cancelled || report.comparison.cancelled;
    object[QLatin1StringView("remarks")] = QJsonArray::fromStringList(report.reading.remarks);
    object[QLatin1StringView("failures")] =
        QJsonArray::fromStringList(report.reading.failures + report.comparison.failures);
    return object;
}

reading_report report_of(const QJsonObject &object)
{
    reading_report report;
    for (const count_key &each : reading_keys)
        each.write(report, object[each.key].toInteger());
    for (const count_key &each : comparison_keys)
        each.write(report, object[each.key].toInteger());
    report.is_compared = object[QLatin1StringView("is_compared")].toBool();
    report.reading.cancelled = object[QLatin1StringView("cancelled")].toBool();
    report.reading.remarks = texts_of(object[QLatin1StringView("remarks")]);
    report.reading.failures = texts_of(object[QLatin1StringView("failures")]);
    return report;
}

QStringList summary_lines(const reading_report &report)
{
    QStringList lines;
    const auto add = [&lines](QLatin1StringView what, qint64 count) {
        lines.append(QStringLiteral("%1 %2").arg(QString(what), -40).arg(count, 10));
    };
    lines.append(QStringLiteral("Mail compared with the rows made of it:"));
    add(QLatin1StringView("mails"), report.reading.mails);
    if (report.reading.mails_given_up > 0)
        add(QLatin1StringView("  that could not be read"), report.reading.mails_given_up);
    if (!report.is_compared) {
        lines.append(QStringLiteral("not compared with the rows"));
        return lines;
    }
    const comparison_totals &found = report.comparison;
    add(QLatin1StringView("  without a row"), found.without_row);
    add(QLatin1StringView("  with a shortened or empty text"), found.shortened_text);
    add(QLatin1StringView("  with date 0 although it can be read"), found.unread_date);
    add(QLatin1StringView("  with a sender that is not the header's"), found.other_sender);
    add(QLatin1StringView("  with a subject that is not the header's"), found.other_subject);
    if (found.surplus_rows > 0)
        add(QLatin1StringView("rows that are not a mail of their own"), found.surplus_rows);
    add(QLatin1StringView("attachments stored as they are"), found.attachments.identical);
    add(QLatin1StringView("attachments stored altered"), found.attachments.altered);
    add(QLatin1StringView("attachments missing"), found.attachments.missing);
    return lines;
}
