/// A directory whose layout is not the one the plug-in reads.
#pragma once

#include "host/sources/member.h"

#include <QDirIterator>
#include <QFile>

/// Members that are files of the file system.
class file_member_reader : public member_reader
{
public:
    [[nodiscard]] qint64 read(std::span<char> buffer) final;

protected:
    QFile file; ///< the member at hand; opened when it is read
};

/// Links are told, never followed.
class directory_reader : public file_member_reader
{
public:
    explicit directory_reader(const QString &directory);

    [[nodiscard]] bool next(member &found) override;
    [[nodiscard]] QString format() const override { return format_name; }

    static constexpr QLatin1StringView format_name{"directory"};

private:
    QString root; ///< ends in "/"
    QDirIterator entries;
};

/// A single mbox file, as a source of one member.
class mbox_reader : public file_member_reader
{
public:
    explicit mbox_reader(const QString &path) { file.setFileName(path); }

    [[nodiscard]] bool next(member &found) override;
    [[nodiscard]] QString format() const override { return QStringLiteral("mbox file"); }

private:
    bool told = false;
};
