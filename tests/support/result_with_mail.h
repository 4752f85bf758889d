/// A result with rows and mails, and the mbox of its mails, for tests of `show`, `export` and reports.
#pragma once

#include <QByteArray>
#include <QString>

/// Below `directory`: "source/Takeout/Mail/All.mbox" with three mails, and "result/" with Gmail.sqlite (the rows of the
/// first two, and one row of an Android source) and Mail.sqlite. The second mail has a hostile subject and sender.
void make_result_with_mail(const QString &directory);

/// The mails' bytes in the mbox, their "From " lines included; counted from 1.
[[nodiscard]] QByteArray mail_in_mbox(int number);
