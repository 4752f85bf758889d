/// Which queries on a database of unknown origin come to an end.
#pragma once

#include <QString>

class QSqlDatabase;

/// Why SQLite should not be asked `statement`, which reads `table`; empty when it may.
///
/// A table costs what its rows cost. But a view in its place can keep SQLite busy without end and without giving a row
/// (recursion, a product of tables), a generated column or a function in a view can make gigabytes out of nothing, and
/// a virtual table runs code on contents that were never checked. The application's own data have none of these. Plain
/// views are read: those that walk one table at a time (sorted, filtered, put one behind the other) and use functions
/// whose results are no longer than what they are given.
[[nodiscard]] QString why_refused(const QSqlDatabase &source, const QString &table, const QString &statement);

/// Why SQLite should not even be given a statement that reads `table`; empty when it may. In a view's place, views and
/// common tables that name each other twice make the statement itself grow without end while it is prepared.
[[nodiscard]] QString why_not_prepared(const QSqlDatabase &source, const QString &table);

/// What SQLite says it does to answer a statement: one line a step.
[[nodiscard]] QStringList plan_of(const QSqlDatabase &source, const QString &statement);
