#include "host/reading/worker.h"

#include "host/reading/expected_rows.h"
#include "host/reading/limits.h"
#include "host/reading/mail_reader.h"
#include "host/reading/record_stream.h"

#include <QDir>
#include <QFile>

#include <algorithm>
#include <csignal>
#include <new>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/uio.h>
#include <unistd.h>

namespace {

bool read_all(int from, char *bytes, qsizetype size)
{
    while (size > 0) {
        const ssize_t count = ::read(from, bytes, static_cast<std::size_t>(size));
        if (count <= 0)
            return false;
        bytes += count;
        size -= count;
    }
    return true;
}

bool write_all(int to, const char *bytes, qsizetype size)
{
    while (size > 0) {
        const ssize_t count = ::write(to, bytes, static_cast<std::size_t>(size));
        if (count <= 0)
            return false;
        bytes += count;
        size -= count;
    }
    return true;
}

bool answer(const QByteArray &bytes)
{
    qint64 size = bytes.size();
    iovec pieces[] = {{&size, sizeof size}, {const_cast<char *>(bytes.constData()), static_cast<std::size_t>(size)}};
    const ssize_t written = ::writev(STDOUT_FILENO, pieces, 2);
    const ssize_t of_bytes = written - static_cast<ssize_t>(sizeof size);
    return of_bytes >= 0 && write_all(STDOUT_FILENO, bytes.constData() + of_bytes, bytes.size() - of_bytes);
}

/// Bytes of address space in use; 0 when that is not known.
rlim_t used_memory()
{
    QFile memory(QStringLiteral("/proc/self/statm"));
    const QByteArray pages = memory.open(QIODevice::ReadOnly) ? memory.readAll().split(' ').first() : QByteArray();
    return pages.toULong() * static_cast<rlim_t>(sysconf(_SC_PAGESIZE));
}

/// The memory this process may use.
class memory_limit
{
public:
    explicit memory_limit(rlim_t in_use)
        : base(in_use)
    {
    }

    /// Allow what a mail may need: a share for its fields, and several times its size.
    void set_for(qint64 length)
    {
        constexpr qint64 step = qint64(1) * 1024 * 1024; // most mails are smaller, and need the same
        const qint64 steps = length / step + 1;
        if (base == 0 || steps == last_steps)
            return;
        last_steps = steps;
        rlimit limit = {};
        getrlimit(RLIMIT_AS, &limit);
        limit.rlim_cur = base + static_cast<rlim_t>(memory_per_mail + memory_per_mail_byte * steps * step);
        if (limit.rlim_max != RLIM_INFINITY && limit.rlim_cur > limit.rlim_max)
            limit.rlim_cur = limit.rlim_max;
        setrlimit(RLIMIT_AS, &limit);
    }

private:
    rlim_t base; ///< bytes; 0 when it is not known, and nothing is limited
    qint64 last_steps = 0;
};

/// The file that mails are read from; it stays open as long as they come from the same one.
class mail_file
{
public:
    ~mail_file() { close(); }
    mail_file() = default;
    Q_DISABLE_COPY_MOVE(mail_file)

    void open(const QByteArray &path)
    {
        close();
        file = ::open(path.constData(), O_RDONLY | O_CLOEXEC);
    }

    /// Fewer bytes than requested where the file ends or cannot be read.
    [[nodiscard]] QByteArray bytes(qint64 offset, qint64 length) const
    {
        QByteArray read(length, Qt::Uninitialized);
        qint64 filled = 0;
        for (ssize_t count = 1; filled < length && count > 0; filled += std::max<ssize_t>(count, 0))
            count = ::pread(file, read.data() + filled, static_cast<std::size_t>(length - filled), offset + filled);
        read.truncate(filled);
        return read;
    }

private:
    void close()
    {
        if (file >= 0)
            ::close(file);
    }

    int file = -1;
};

/// Writes parts under names of their own.
class spool_folder
{
public:
    explicit spool_folder(const QString &path)
        : folder(QFile::encodeName(path) + '/')
        , kept(QFile::encodeName(QDir::cleanPath(path + QLatin1StringView("/../.."))) + '/')
    {
    }

    void take(QByteArrayView bytes, mail_part &part)
    {
        // Equal parts are frequent. A file that exists has this content: it was moved there whole.
        part.is_kept = ::access(QByteArray(kept + part.sha256 + part.extension).constData(), F_OK) == 0;
        if (!part.is_kept)
            part.spool_file = write(bytes);
    }

private:
    QByteArray write(QByteArrayView bytes)
    {
        const QByteArray name = folder + QByteArray::number(++last);
        const int file = ::open(name.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        const bool written = file >= 0 && write_all(file, bytes.data(), bytes.size());
        if (file >= 0 && (::close(file) != 0 || !written)) {
            ::unlink(name.constData());
            return {};
        }
        return written ? name : QByteArray();
    }

    QByteArray folder;
    QByteArray kept; ///< "Parts/"
    qint64 last = 0;
};

/// Become a helper process: no core dump, no messages when memory runs out, no life without the parent.
void settle_in()
{
    const rlimit no_core = {0, 0};
    setrlimit(RLIMIT_CORE, &no_core);
    if (const int nowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC); nowhere >= 0)
        ::dup2(nowhere, STDERR_FILENO);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
}

bool serve(const worker_request &request, const mail_file &file, spool_folder &spool)
{
    const QByteArray stored = file.bytes(request.offset, request.length);
    mail_record record = read_mail(stored, request.is_followed != 0,
                                   [&spool](QByteArrayView bytes, mail_part &part) { spool.take(bytes, part); });
    if (stored.size() < request.length)
        record.problems.append("The file could not be read to the end of this mail.");
    foresee_rows(record, stored);
    return answer(to_bytes(record));
}

} // namespace

int run_worker(const QString &spool)
{
    settle_in();
    spool_folder parts(spool);
    // Memory that GMime and the C library take once is not part of a mail's share.
    const mail_record warm =
        read_mail("From x\nSubject: =?iso-8859-1?Q?=E4?=\nTo: a@b\n\na", false, [](QByteArrayView, mail_part &) {});
    memory_limit memory(warm.subject.isEmpty() ? 0 : used_memory());
    if (!answer({}))
        return 1;
    try {
        worker_request request;
        mail_file file;
        while (read_all(STDIN_FILENO, reinterpret_cast<char *>(&request), sizeof request)) {
            QByteArray path(request.path_size, Qt::Uninitialized);
            if (!read_all(STDIN_FILENO, path.data(), path.size()))
                return 1;
            if (!path.isEmpty())
                file.open(path);
            memory.set_for(request.length);
            if (!serve(request, file, parts))
                return 1;
        }
    } catch (const std::bad_alloc &) {
        return worker_out_of_memory;
    }
    return 0;
}
