/// A source for the plug-in, and the known facts about its files.
#pragma once

#include "host/evidence.h"
#include "host/pass/file_pass.h"

#include <QList>
#include <QMap>
#include <QStringList>

/// A file whose content the plug-in reads.
struct source_file
{
    QString place;         ///< below the root that the plug-in is given
    QString given_in;      ///< the directory or archive it comes from
    QString member;        ///< its path there
    qint64 size = 0;       ///< bytes that came
    qint64 modified = -1;  ///< seconds since the epoch, -1 when unknown
    QString sha256_before; ///< empty when not hashed
    QString sha256_after;
    qint64 separators = -1; ///< lines of an mbox that begin a message, -1 when not counted
};

/// One archive, directory or file as it was given.
struct given_source
{
    QString path;
    QString type;                ///< "directory", "mbox file", "zip", ...
    qint64 size = -1;            ///< bytes, -1 for a directory
    file_identity identity = {}; ///< before it was first read
    QString sha256_before;
    QString sha256_after;
};

/// Rows that a run should write, counted in the source's own tables and files.
struct expected_rows
{
    QMap<QString, qint64> tables; ///< per table of the result; one that is unknown is missing
    QStringList remarks;          ///< why something is unknown
    QStringList faults;           ///< tables that the plug-in will not be able to read
};

struct ready_source
{
    evidence found;
    QList<given_source> given;
    QString user;        ///< Android user or folder of the root, when the given path contains several sources
    bool staged = false; ///< its files are copies
    QList<source_file> files;
    expected_rows expected;
    QMap<QString, qint64> skipped; ///< members per reason
    QStringList skipped_paths;     ///< the first of them, each after its reason
    QStringList remarks;           ///< mail that is passed over, parts that are missing
    QStringList failures;          ///< what went wrong though the source can be read
    QStringList faults;            ///< faults that the plug-in will itself log as failures
};
