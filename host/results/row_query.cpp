#include "host/results/row_query.h"

#include "host/results/time_text.h"

#include <QRegularExpression>

#include <algorithm>
#include <limits>
#include <numeric>

namespace {

maybe_refusal wrong_usage(const QString &text)
{
    return refusal{exit_status::wrong_usage, text};
}

/// Steps from one text to the other: letters inserted, removed or replaced.
qsizetype distance(const QString &from, const QString &to)
{
    QList<qsizetype> row(to.size() + 1);
    std::iota(row.begin(), row.end(), 0);
    for (qsizetype i = 0; i < from.size(); ++i) {
        qsizetype diagonal = std::exchange(row[0], i + 1);
        for (qsizetype j = 0; j < to.size(); ++j) {
            const qsizetype replaced = diagonal + (from.at(i).toLower() == to.at(j).toLower() ? 0 : 1);
            diagonal = row.at(j + 1);
            row[j + 1] = std::min({replaced, row.at(j) + 1, row.at(j + 1) + 1});
        }
    }
    return row.last();
}

/// "there is no ...; did you mean ...?" and the known names.
QString not_known(const QString &what, const QString &given, const QStringList &known)
{
    QString text = QStringLiteral("there is no %1 \"%2\"").arg(what, given);
    const auto nearest = std::min_element(known.begin(), known.end(), [&given](const QString &one, const QString &two) {
        return distance(given, one) < distance(given, two);
    });
    if (nearest != known.end() && distance(given, *nearest) <= std::max<qsizetype>(1, given.size() / 3))
        text += QStringLiteral("; did you mean \"%1\"?").arg(*nearest);
    return text + QStringLiteral(" (known: %1)").arg(known.join(QLatin1StringView(", ")));
}

/// Collects the conditions of one query.
class conditions
{
public:
    conditions(const result_reader &opened, const result_table &asked)
        : reader(opened)
        , table(asked)
    {
    }

    void add(const QByteArray &condition, const query_values &with = {})
    {
        text += (text.isEmpty() ? " where (" : " and (") + condition + ')';
        values.insert(values.end(), with.begin(), with.end());
    }

    [[nodiscard]] maybe_refusal add_where(const QString &given);
    [[nodiscard]] maybe_refusal add_times(const QString &after, const QString &before);
    [[nodiscard]] maybe_refusal add_people(const char *option, const QString &person, const QByteArray &roles,
                                           const QByteArrayList &columns);
    [[nodiscard]] maybe_refusal add_search(const QString &words);
    [[nodiscard]] maybe_refusal add_label(const QString &label);

    QByteArray text;
    query_values values;

private:
    [[nodiscard]] maybe_refusal needs_mail(const char *option) const;
    [[nodiscard]] bool is_of_mails() const { return table.find("mail") >= 0 || is("mail") || is("messages"); }
    [[nodiscard]] bool is(const char *name) const { return table.name() == name; }
    [[nodiscard]] QByteArray rows_of_mails(const QByteArray &ids) const;

    const result_reader &reader;
    const result_table &table;
};

QStringList names_of(const QList<result_column> &columns)
{
    QStringList names;
    for (const result_column &each : columns)
        names.append(QString::fromUtf8(each.name));
    return names;
}

maybe_refusal find_column(const result_table &table, const QString &given, result_column &found)
{
    const qsizetype at = table.find(given.trimmed().toUtf8());
    if (at < 0)
        return wrong_usage(not_known(QStringLiteral("column"), given, names_of(table.columns)) +
                           QStringLiteral(" in table %1").arg(QLatin1StringView(table.known->name)));
    found = table.columns.at(at);
    return {};
}

/// The condition for rows of `table` that belong to mails whose ids the query `ids` gives.
QByteArray conditions::rows_of_mails(const QByteArray &ids) const
{
    if (is("messages"))
        return "INT in (select row from mail_db.mail where row_table = 'messages' and id in (" + ids + "))";
    return (is("mail") ? "id in (" : "mail in (") + ids + ')';
}

maybe_refusal conditions::needs_mail(const char *option) const
{
    if (!is_of_mails())
        return wrong_usage(QStringLiteral("%1 filters mails; table %2 is not about mails")
                               .arg(QLatin1StringView(option), QLatin1StringView(table.known->name)));
    if (!reader.has_mail())
        return refusal{reader.mail_problem()->status, QLatin1StringView(option) +
                                                          QLatin1StringView(" needs the mail: ") +
                                                          reader.mail_problem()->text};
    return {};
}

maybe_refusal conditions::add_where(const QString &given)
{
    const qsizetype at = given.indexOf(QRegularExpression(QStringLiteral("[=~]")));
    if (at < 1)
        return wrong_usage(QStringLiteral("--where %1: write COLUMN=TEXT, or COLUMN~TEXT for \"contains\"").arg(given));
    result_column column;
    if (maybe_refusal refused = find_column(table, given.first(at), column))
        return refused;
    const QString sought = given.sliced(at + 1);
    const QByteArray name = quoted(column.name);
    if (given.at(at) == u'~') {
        add("contains_text(" + name + ", ?)", {sought.toUtf8()});
    } else if (sought.isEmpty()) {
        add("coalesce(" + name + ", '') = ''");
    } else if (const auto time = period_of(sought); column.is_time && time) {
        add(table.has_time(column.name) + " and " + name + " >= ? and " + name + " < ?", {time->begin, time->end});
    } else {
        add(name + " = ?", {sought.toUtf8()});
    }
    return {};
}

maybe_refusal conditions::add_times(const QString &after, const QString &before)
{
    if (after.isEmpty() && before.isEmpty())
        return {};
    period limits = {std::numeric_limits<qint64>::min(), std::numeric_limits<qint64>::max()};
    for (const auto &[given, limit] : {std::pair(after, &limits.begin), std::pair(before, &limits.end)}) {
        const auto time = period_of(given);
        if (!given.isEmpty() && !time)
            return wrong_usage(not_a_time(given));
        if (time)
            *limit = time->begin;
    }
    QByteArray condition;
    query_values both;
    for (const QByteArray &time : table.times()) {
        const QByteArray name = quoted(time);
        condition += QByteArray(condition.isEmpty() ? "(" : " or (") + table.has_time(time) + " and " + name +
                     " >= ? and " + name + " < ?)";
        both.insert(both.end(), {limits.begin, limits.end});
    }
    if (condition.isEmpty() && table.find("mail") >= 0) {
        condition = rows_of_mails("select id from mail_db.mail where date >= ? and date < ?");
        both = {limits.begin, limits.end};
    }
    if (condition.isEmpty())
        return wrong_usage(
            QStringLiteral("--after and --before: table %1 has no times").arg(QLatin1StringView(table.known->name)));
    add(condition, both);
    return {};
}

maybe_refusal conditions::add_people(const char *option, const QString &person, const QByteArray &roles,
                                     const QByteArrayList &columns)
{
    if (person.isEmpty())
        return {};
    QByteArray condition;
    query_values sought;
    const bool has_names = is("messages");
    for (const QByteArray &name : has_names ? columns : QByteArrayList()) {
        condition += "contains_text(" + quoted(name) + ", ?) or ";
        sought.emplace_back(person.toUtf8());
    }
    if (!has_names || reader.has_mail()) {
        if (maybe_refusal refused = needs_mail(option))
            return refused;
        condition += rows_of_mails("select mail from mail_db.address where role in (" + roles +
                                   ") and (contains_text(name, ?) or contains_text(address, ?))");
        sought.insert(sought.end(), 2, person.toUtf8());
    } else {
        condition.chop(4);
    }
    add(condition, sought);
    return {};
}

/// Words in quotes stay together; a star at the end of a word matches any ending.
QByteArray full_text_query(const QString &words)
{
    static const QRegularExpression piece(QStringLiteral("\"([^\"]*)\"?|(\\S+)"));
    QByteArray query;
    for (auto pieces = piece.globalMatch(words); pieces.hasNext();) {
        const auto match = pieces.next();
        QString word = match.captured(1) + match.captured(2);
        const bool begins = match.hasCaptured(2) && word.endsWith(u'*');
        query += '"' + word.replace(u'"', QLatin1StringView("\"\"")).toUtf8() + (begins ? "\"* " : "\" ");
    }
    return query;
}

maybe_refusal conditions::add_search(const QString &words)
{
    if (words.isEmpty())
        return {};
    if (maybe_refusal refused = needs_mail("--search"))
        return refused;
    add(rows_of_mails("select rowid from mail_db.mail_search where mail_search match ?"), {full_text_query(words)});
    return {};
}

maybe_refusal conditions::add_label(const QString &label)
{
    if (label.isEmpty())
        return {};
    if (maybe_refusal refused = needs_mail("--label"))
        return refused;
    QStringList known;
    sqlite_statement labels = reader.query("select distinct label from mail_db.label order by 1");
    while (labels.next())
        known.append(QString::fromUtf8(labels.text(0)));
    if (maybe_refusal failed = reader.failure(labels))
        return failed;
    if (!known.contains(label, Qt::CaseInsensitive))
        return wrong_usage(not_known(QStringLiteral("label"), label, known));
    add(rows_of_mails("select mail from mail_db.label where same_text(label, ?)"), {label.toUtf8()});
    return {};
}

maybe_refusal find_table(const result_reader &reader, const QString &name, const result_table *&found)
{
    found = reader.table(name.toUtf8());
    if (found)
        return {};
    QStringList known;
    for (const known_table &each : known_tables) {
        known.append(QString::fromLatin1(each.name));
        if (each.of_mail && name == known.last())
            return reader.mail_problem();
    }
    return wrong_usage(not_known(QStringLiteral("table"), name, known));
}

maybe_refusal find_columns(const result_table &table, const QStringList &asked, QList<result_column> &columns)
{
    if (asked == QStringList(QStringLiteral("all"))) {
        columns = table.columns;
        return {};
    }
    const QStringList names = asked.isEmpty() ? QString::fromLatin1(table.known->shown).split(u',') : asked;
    for (const QString &name : names) {
        if (maybe_refusal refused = find_column(table, name, columns.emplaceBack()))
            return refused;
    }
    return {};
}

maybe_refusal add_filters(const row_selection &selection, conditions &filters)
{
    for (const QString &each : selection.where) {
        if (maybe_refusal refused = filters.add_where(each))
            return refused;
    }
    if (maybe_refusal refused = filters.add_times(selection.after, selection.before))
        return refused;
    if (maybe_refusal refused = filters.add_people("--from", selection.from, "'from', 'sender'", {"from_list"}))
        return refused;
    if (maybe_refusal refused =
            filters.add_people("--to", selection.to, "'to', 'cc', 'bcc'", {"to_list", "cc_list", "bcc_list"}))
        return refused;
    if (maybe_refusal refused = filters.add_search(selection.search))
        return refused;
    return filters.add_label(selection.label);
}

} // namespace

maybe_refusal make_query(const result_reader &reader, const row_selection &selection, row_query &query)
{
    if (maybe_refusal refused = find_table(reader, selection.table, query.table))
        return refused;
    if (maybe_refusal refused = find_columns(*query.table, selection.columns, query.columns))
        return refused;
    conditions filters(reader, *query.table);
    if (maybe_refusal refused = add_filters(selection, filters))
        return refused;
    result_column order = {query.table->known->key};
    if (!selection.sort.isEmpty()) {
        if (maybe_refusal refused = find_column(*query.table, selection.sort, order))
            return refused;
    }
    QByteArrayList names;
    for (const result_column &each : std::as_const(query.columns))
        names.append(quoted(each.name));
    query.sql = "select " + names.join(", ") + " from " + query.table->sql_name() + filters.text + " order by " +
                (selection.sort.isEmpty() ? order.name : quoted(order.name)) + (selection.reverse ? " desc" : "") +
                " limit ?";
    query.values = filters.values;
    query.values.emplace_back(selection.limit);
    return {};
}
