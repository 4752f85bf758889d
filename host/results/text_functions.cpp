#include "host/results/text_functions.h"

#include <QString>
#include <QStringMatcher>

#include <memory>
#include <sqlite3.h>

namespace {

QString text_of(sqlite3_value *value)
{
    const auto *bytes = reinterpret_cast<const char *>(sqlite3_value_text(value));
    return QString::fromUtf8(bytes, sqlite3_value_bytes(value));
}

void contains_text(sqlite3_context *context, int, sqlite3_value **values)
{
    constexpr int sought = 1;
    std::unique_ptr<QStringMatcher> made;
    auto *matcher = static_cast<QStringMatcher *>(sqlite3_get_auxdata(context, sought));
    if (!matcher) {
        made = std::make_unique<QStringMatcher>(text_of(values[sought]), Qt::CaseInsensitive);
        matcher = made.get();
    }
    sqlite3_result_int(context, matcher->indexIn(text_of(values[0])) >= 0);
    if (made) // kept for the next row as long as the text sought is a constant
        sqlite3_set_auxdata(context, sought, made.release(),
                            [](void *old) { delete static_cast<QStringMatcher *>(old); });
}

void same_text(sqlite3_context *context, int, sqlite3_value **values)
{
    sqlite3_result_int(context, text_of(values[0]).compare(text_of(values[1]), Qt::CaseInsensitive) == 0);
}

} // namespace

void add_text_functions(sqlite3 *connection)
{
    constexpr int kind = SQLITE_UTF8 | SQLITE_DETERMINISTIC;
    sqlite3_create_function_v2(connection, "contains_text", 2, kind, nullptr, contains_text, nullptr, nullptr, nullptr);
    sqlite3_create_function_v2(connection, "same_text", 2, kind, nullptr, same_text, nullptr, nullptr, nullptr);
}
