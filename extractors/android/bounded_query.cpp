#include "extractors/android/bounded_query.h"

#include <QHash>
#include <QRegularExpression>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QStringList>
#include <QVariant>

namespace {

constexpr qsizetype longest_plan = 32; // steps
constexpr qsizetype most_views = 32;
constexpr qsizetype most_views_named = 8; // in views: each can double the statement

struct plan_step
{
    int parent = 0;
    QString text;
};

QList<plan_step> plan_steps(const QSqlDatabase &source, const QString &statement)
{
    QList<plan_step> steps;
    QSqlQuery query(source);
    query.prepare(QLatin1StringView("explain query plan ") + statement);
    for (qsizetype i = 0; i < statement.count(u'?'); ++i)
        query.addBindValue(QString());
    query.exec();
    while (query.next())
        steps.append({query.value(1).toInt(), query.value(3).toString()});
    return steps;
}

/// At most one loop inside another, unless it finds one row at once.
bool is_bounded(const QList<plan_step> &plan)
{
    QHash<int, int> loops; // by parent
    for (const plan_step &step : plan) {
        const bool is_loop = step.text.startsWith(u"SCAN") || step.text.startsWith(u"SEARCH");
        const bool finds_one_row = step.text.contains(u"USING INTEGER PRIMARY KEY (rowid=?)");
        if (is_loop && !finds_one_row && ++loops[step.parent] > 1)
            return false;
        if (step.text.startsWith(u"RECURSIVE") || step.text.startsWith(u"CORRELATED") ||
            step.text.contains(u"VIRTUAL TABLE"))
            return false;
    }
    return plan.size() <= longest_plan;
}

/// Words in front of an opening parenthesis that are no danger, and words that are one anywhere: patterns can take
/// longer than any number of rows.
bool uses_plain_functions(const QString &definition)
{
    static const QRegularExpression call(QStringLiteral("(\\w+)\\s*\\("));
    static const QRegularExpression pattern(QStringLiteral("\\b(like|glob|match|regexp)\\b"),
                                            QRegularExpression::CaseInsensitiveOption);
    static const QStringList plain =
        QStringLiteral("as in values select from where and or not on by case when then else exists abs "
                       "cast coalesce count date datetime ifnull iif instr length lower ltrim max min "
                       "nullif round rtrim strftime substr substring sum time trim typeof upper")
            .split(u' ');
    for (const QRegularExpressionMatch &found : call.globalMatch(definition)) {
        if (!plain.contains(found.captured(1).toLower()))
            return false;
    }
    return !pattern.match(definition).hasMatch();
}

bool finds_rows(const QSqlDatabase &source, const char *statement, const QStringList &bound = {})
{
    QSqlQuery query(source);
    query.prepare(QLatin1StringView(statement));
    for (const QString &value : bound)
        query.addBindValue(value);
    return query.exec() && query.next();
}

bool is_view(const QSqlDatabase &source, const QString &table)
{
    return finds_rows(source, "select 1 from sqlite_master where type = 'view' and name = ? collate nocase", {table});
}

} // namespace

QStringList plan_of(const QSqlDatabase &source, const QString &statement)
{
    QStringList plan;
    for (const plan_step &step : plan_steps(source, statement))
        plan.append(step.text);
    return plan;
}

QString why_not_prepared(const QSqlDatabase &source, const QString &table)
{
    static const QRegularExpression common_table(QStringLiteral("\\bwith\\b"),
                                                 QRegularExpression::CaseInsensitiveOption);
    static const QRegularExpression odd_name(QStringLiteral("^$|[\"'`\\[\\]]")); // is written in other ways, too
    const QString refusal = QStringLiteral("refused: %1 is a view that could run without end").arg(table);
    if (!is_view(source, table))
        return {};
    QStringList names;
    QStringList definitions;
    QSqlQuery views(source);
    views.setForwardOnly(true);
    views.exec(QStringLiteral("select name, sql from sqlite_master where type = 'view'"));
    while (views.next() && names.size() <= most_views) {
        names.append(views.value(0).toString());
        definitions.append(views.value(1).toString());
    }
    qsizetype named = -names.size(); // each names itself once
    for (const QString &name : std::as_const(names)) {
        if (name.contains(odd_name))
            return refusal;
        const QRegularExpression word(QStringLiteral("(?<!\\w)%1(?!\\w)").arg(QRegularExpression::escape(name)),
                                      QRegularExpression::CaseInsensitiveOption);
        for (const QString &definition : std::as_const(definitions))
            named += definition.count(word);
    }
    const bool has_common_tables = definitions.join(u' ').contains(common_table);
    return has_common_tables || names.size() > most_views || named > most_views_named ? refusal : QString();
}

QString why_refused(const QSqlDatabase &source, const QString &table, const QString &statement)
{
    QSqlQuery entry(source);
    entry.prepare(QStringLiteral("select type, sql from sqlite_master where name = ? collate nocase"));
    entry.addBindValue(table);
    if (!entry.exec() || !entry.next())
        return {}; // reading it fails by itself
    const bool is_view = entry.value(0).toString() == u"view";
    const QString definition = entry.value(1).toString();
    if (definition.startsWith(u"CREATE VIRTUAL", Qt::CaseInsensitive))
        return QStringLiteral("refused: %1 is a virtual table").arg(table);
    // Stored generated columns are as good as any (hidden = 3); those made when they are read are not.
    if (!is_view) {
        const bool generates =
            finds_rows(source, "select 1 from pragma_table_xinfo(?) where hidden = 2 and instr(lower(?), lower(name))",
                       {table, statement});
        return generates ? QStringLiteral("refused: %1 has generated columns").arg(table) : QString();
    }
    const bool others_generate = finds_rows(source, "select 1 from sqlite_master m, pragma_table_xinfo(m.name) c "
                                                    "where m.type = 'table' and c.hidden = 2");
    const bool has_virtual_tables = finds_rows(source, "select 1 from sqlite_master where sql like 'create virtual%'");
    if (others_generate || has_virtual_tables || !is_bounded(plan_steps(source, statement)) ||
        !uses_plain_functions(definition.section(u' ', 3)))
        return QStringLiteral("refused: %1 is a view that could run without end").arg(table);
    return {};
}
