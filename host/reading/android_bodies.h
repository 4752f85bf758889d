/// Bodies of the Gmail application's mails: files beside the provider database, compressed values in the mail stores.
#pragma once

#include <QByteArray>
#include <QByteArrayList>
#include <QStringList>

#include <optional>

/// The files that contain the bodies of a provider database's mails.
class body_files
{
public:
    /// `root` is that of the source and ends in "/".
    explicit body_files(const QString &root);

    /// The bytes of the file whose name is the mail's id and ".html" or ".txt". None when there is no such file; empty
    /// when it cannot be read or is too large.
    [[nodiscard]] std::optional<QByteArray> body_of(const QByteArray &id) const;

private:
    QStringList folders;
};

/// The contents of a zlib stream, up to a limit. Damage, and anything left out, is added to `problems`.
[[nodiscard]] QByteArray inflated_body(const QByteArray &compressed, QByteArrayList &problems);

/// The bytes of a regular file; empty when it is not one, cannot be read, or has more than `max_bytes`.
[[nodiscard]] QByteArray bytes_of_file(const QString &path, qint64 max_bytes);

/// Ignores blanks around the number.
[[nodiscard]] bool is_whole_number(const QByteArray &text);
