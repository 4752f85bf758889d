#include "host/results/report_threads.h"

maybe_refusal thread_numbers::find(const result_reader &reader)
{
    sqlite_statement mails =
        reader.query("select id, thread_id, message_id, in_reply_to from mail_db.mail order by id");
    sqlite_statement references = reader.query("select mail, message_id from mail_db.reference order by mail");
    bool more = references.next();
    while (mails.next()) {
        const QByteArray thread_id = mails.text(1);
        qint64 thread = thread_id.isEmpty() ? -1 : thread_of("thread " + thread_id);
        const auto belongs_with = [this, &thread](const QByteArray &id) {
            if (!id.isEmpty()) {
                const qint64 other = thread_of("id " + id);
                if (thread >= 0)
                    join(thread, other);
                thread = other;
            }
        };
        if (thread_id.isEmpty()) {
            belongs_with(mails.text(2));
            belongs_with(mails.text(3));
        }
        for (; more && references.number(0) <= mails.number(0); more = references.next()) {
            if (thread_id.isEmpty() && references.number(0) == mails.number(0))
                belongs_with(references.text(1));
        }
        of_mail.push_back(thread);
    }
    const maybe_refusal refused = reader.failure(mails);
    return refused ? refused : reader.failure(references);
}

qint64 thread_numbers::thread_of(const QByteArray &id)
{
    const quint64 hash = qHash(id, 0) * 0x9e3779b97f4a7c15u ^ qHash(id, 0x5bd1e995);
    const auto known = of_id.constFind(hash);
    if (known != of_id.constEnd())
        return *known;
    parents.push_back(static_cast<qint64>(parents.size()));
    return of_id[hash] = parents.back();
}

qint64 thread_numbers::root(qint64 thread) const
{
    while (parents[static_cast<std::size_t>(thread)] != thread)
        thread = parents[static_cast<std::size_t>(thread)];
    return thread;
}

void thread_numbers::join(qint64 one, qint64 other)
{
    const qint64 a = root(one), b = root(other);
    parents[static_cast<std::size_t>(qMax(a, b))] = qMin(a, b);
    parents[static_cast<std::size_t>(one)] = parents[static_cast<std::size_t>(other)] = qMin(a, b); // keeps paths short
}

qint64 thread_numbers::of(qint64 place) const
{
    const auto at = static_cast<std::size_t>(place);
    return at < of_mail.size() && of_mail[at] >= 0 ? root(of_mail[at]) : -1;
}
