/// Mails of the Gmail application on Android: from the provider database with its body files, and from the mail stores.
///
/// The rows have the values of the same columns, so a row differs from its mail only where the extraction leaves
/// something out, above all the compressed body of a mail store.
#pragma once

#include "host/reading/android_bodies.h"
#include "host/reading/android_database.h"
#include "host/reading/mail_reader.h"
#include "host/reading/row_differences.h"

/// Reads the mails of one database, in the order of its table.
class android_mails
{
public:
    /// `root` is that of the source and ends in "/", `place` that of the database below it. The copy and temporary
    /// tables are made in `folder`, which exists and ends in "/".
    android_mails(QString root, QString place, QString folder);

    /// False when there is nothing to read, or when reading fails: then `failure` says why.
    [[nodiscard]] bool open();

    /// The next mail, without its source, file and ordinal. False after the last one.
    [[nodiscard]] bool next(mail_record &mail, const part_writer &write_part);

    /// A sentence that names the file; empty while all is well.
    [[nodiscard]] QString failure() const;

    /// The databases of a source, below its root, in the order in which they are read.
    [[nodiscard]] static QStringList places_in(const QString &root);

private:
    [[nodiscard]] bool open_provider();
    [[nodiscard]] bool open_store();
    bool gather(const char *into, const QByteArray &table, const QByteArrayList &columns);
    void gather_labels();
    void read_provider_mail(mail_record &mail, const part_writer &write_part);
    void read_store_mail(mail_record &mail, const part_writer &write_part);
    void read_attachments(const QByteArray &key, mail_record &mail, QByteArrayList &listed,
                          const part_writer &write_part);
    void set_body(const QByteArray &body, mail_record &mail) const;
    void foresee(const row_values &values, const QByteArrayList &listed, const QList<row_difference> &differences,
                 mail_record &mail) const;

    QString source_root;
    QString database_place;
    QString folder;
    bool is_provider;
    std::optional<body_files> bodies; ///< of a provider database
    android_database database;
    sqlite_connection gathered; ///< attachments and labels, by the key of their mail
    sqlite_statement rows, attachments_of, labels_of;
};
