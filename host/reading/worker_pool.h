/// Several processes that parse mails; those that die are replaced.
#pragma once

#include "host/reading/limits.h"
#include "host/reading/mail_record.h"

#include <QElapsedTimer>
#include <QString>

#include <deque>
#include <memory>
#include <vector>

/// A mail to be parsed.
struct mail_job
{
    qint64 number = 0; ///< of the mail in the run, from 1
    QByteArray path;   ///< of its file, as the system knows it
    qint64 offset = 0;
    qint64 length = 0;
    bool is_followed = false;
};

/// A mail that was parsed, or why it was not.
struct parsed_mail
{
    qint64 number = 0;
    mail_record record;
    QByteArray given_up; ///< a sentence; empty when all is well
};

/// Use it from one thread.
class worker_pool
{
public:
    /// At most `count` processes, which write parts to folders below `spool` (ends in "/"). They start when they are
    /// needed. Each mail may take `milliseconds`, and large ones more.
    worker_pool(int count, const QString &spool, qint64 milliseconds = milliseconds_per_mail);
    ~worker_pool(); ///< kills those that still run
    Q_DISABLE_COPY_MOVE(worker_pool)

    /// True when a job can be given without waiting, to the first process or to any.
    [[nodiscard]] bool has_room(bool of_first = false) const;

    /// Precondition: `has_room`.
    void give(mail_job job, bool to_first = false);

    /// Wait up to `milliseconds` for answers. The answers of one process come in the order of its jobs.
    [[nodiscard]] std::vector<parsed_mail> collect(int milliseconds);

    /// Why processes cannot be started: a sentence, or empty. After a failure no more answers come.
    [[nodiscard]] const QString &failure() const { return why_failed; }

private:
    struct process;

    void start(process &worker);
    qsizetype send(process &worker, const mail_job &job);
    void receive(process &worker, std::vector<parsed_mail> &answers);
    bool take_answers(process &worker, std::vector<parsed_mail> &answers);
    void give_up_first(process &worker, const QByteArray &why, std::vector<parsed_mail> &answers);
    void end_stalled(process &worker, std::vector<parsed_mail> &answers);

    std::vector<std::unique_ptr<process>> processes;
    qint64 allowed_milliseconds;
    QString why_failed;
};
