/// The accounts of the provider database, paired with the most recently warmed-up ones.
#include "extractors/android/accounts.h"

#include "common/log_line.h"
#include "common/warm_accounts.h"
#include "extractors/android/android_source.h"
#include "extractors/android/extract_step.h"
#include "extractors/android/source_database.h"
#include "extractors/android/step_runner.h"
#include "extractors/rows/texts.h"

#include <QFile>
#include <QSqlError>

namespace {

constexpr char account_statement[] = "Select emailAddress from Account";
constexpr char account_origin[] = "QString gmail_androidos::get_gmail_account_id()";
constexpr char warm_accounts_origin[] = "QStringList gmail_androidos::extract_last_warmup_accounts()";

/// The account's text when it is paired with its own address, otherwise an empty one.
consteval column own_text(const char *source_column)
{
    return {[](const row_context &row, const QVariant &read) {
                return row.pair_matches ? columns::text_of(read) : never_null({});
            },
            source_column};
}

QString paired_source_file(const row_context &row, const QVariant &)
{
    return row.pair_matches ? row.source_file : row.paired_source_file;
}

constexpr column account_columns[] = {
    own_text("displayName"),    columns::from_context<&row_context::paired_name>(),
    own_text("senderName"),     own_text("ringtoneUri"),
    {paired_source_file},       columns::os_scheme_display,
    columns::source_count_name,
};

std::unique_ptr<row_look_ups> make_account_pairs(const source_database &source, step_runner &runner);

} // namespace

/// Each account is paired with every most recently warmed-up account: n accounts and m names give n times m rows, so
/// none when there are no names.
constexpr extract_step
    account_step("Select displayName,emailAddress,senderName, ringtoneUri from Account",
                 "insert into accounts(bookmark,display_name,email_address,sender_name,ringtone_uri, source_file,"
                 "os_scheme_display, source_count_name) values(0,?,?,?,?,  ?,?,?)",
                 account_columns, make_account_pairs);

namespace {

QStringList extract_last_warmup_accounts(const android_source &source)
{
    const log_origin origin(warm_accounts_origin);
    const QString &path = source.warm_accounts_path;
    if (path.isEmpty())
        return {};
    QFile file(path);
    if (const QString error = source.root.open(file); !error.isEmpty()) {
        log_line({" File Open Failed:", origin}, path);
        log_line({"", origin}, error);
        return {};
    }
    const auto accounts = warm_accounts::read_from(file);
    if (!accounts)
        log_line({"[extract_last_warmup_accounts] ----FAILED---- too large or too many attributes: ", origin}, path);
    return accounts.value_or(QStringList());
}

class account_pairs : public row_look_ups
{
public:
    explicit account_pairs(const android_source &source)
        : names(extract_last_warmup_accounts(source))
        , names_file(source.source_file_of(source.warm_accounts_path.trimmed()))
    {
    }

    qsizetype fill(const QSqlQuery &, row_context &context) override
    {
        context.paired_source_file = names_file;
        return names.size();
    }

    void turn_to(qsizetype number, const QSqlQuery &row, row_context &context) override
    {
        context.paired_name = names.at(number);
        context.pair_matches = row.value(account_step.position_of("emailAddress")).toString() == context.paired_name;
    }

private:
    QStringList names;
    QString names_file;
};

std::unique_ptr<row_look_ups> make_account_pairs(const source_database &, step_runner &runner)
{
    return std::make_unique<account_pairs>(runner.source);
}

} // namespace

QString get_gmail_account_id(const QString &copy)
{
    const log_origin origin(account_origin);
    const QString none = QStringLiteral("");
    if (copy.isEmpty())
        return none;
    const source_database source(origin, copy);
    if (!source.is_open()) {
        log_line({" Source Db opening ---FAILED----", origin});
        log_line({"", origin}, source.connection().lastError().text());
        log_line({"", origin}, copy);
        return none;
    }
    QSqlQuery query(source.connection());
    if (!source.execute(query, account_statement, {}, origin))
        return none;
    if (query.next())
        return columns::text_of(query.value(0));
    if (query.lastError().isValid())
        log_failed_query(query, {}, origin);
    return none;
}
