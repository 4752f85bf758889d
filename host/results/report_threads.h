/// Which mails of a result belong to one conversation.
#pragma once

#include "host/results/result_reader.h"

#include <QHash>

#include <vector>

/// A mail's thread: Gmail's own if it is known, else mails that refer to each other.
class thread_numbers
{
public:
    /// Go through the mails once. Memory: some tens of bytes per mail and reference.
    [[nodiscard]] maybe_refusal find(const result_reader &reader);
    /// Of a mail by its place in the order of ids; -1 when it belongs to none.
    [[nodiscard]] qint64 of(qint64 place) const;

private:
    [[nodiscard]] qint64 root(qint64 thread) const;
    qint64 thread_of(const QByteArray &id);
    void join(qint64 one, qint64 other);

    std::vector<qint64> parents; ///< of threads that turned out to be one
    std::vector<qint64> of_mail;
    QHash<quint64, qint64> of_id; ///< by a hash of the id
};
