#include "host/reading/worker.h"

#include "host/reading/expected_rows.h"
#include "host/reading/limits.h"
#include "host/reading/mail_reader.h"
#include "host/reading/record_stream.h"

#include <QDir>
#include <QFile>

#include <csignal>
#include <cstdio>
#include <cstring>
#include <new>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
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
    const qint64 size = bytes.size();
    return write_all(STDOUT_FILENO, reinterpret_cast<const char *>(&size), sizeof size) &&
           write_all(STDOUT_FILENO, bytes.constData(), bytes.size());
}

/// Bytes of address space in use.
rlim_t used_memory()
{
    unsigned long pages = 0;
    if (std::FILE *file = std::fopen("/proc/self/statm", "re")) {
        if (std::fscanf(file, "%lu", &pages) != 1)
            pages = 0;
        std::fclose(file);
    }
    return pages * static_cast<rlim_t>(sysconf(_SC_PAGESIZE));
}

/// What a mail may need: a share for its fields, and its size several times.
void limit_memory(rlim_t base, qint64 length)
{
    rlimit limit = {};
    getrlimit(RLIMIT_AS, &limit);
    limit.rlim_cur =
        base > 0 ? base + static_cast<rlim_t>(memory_per_mail + memory_per_mail_byte * length) : RLIM_INFINITY;
    if (limit.rlim_max != RLIM_INFINITY && limit.rlim_cur > limit.rlim_max)
        limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_AS, &limit);
}

QByteArray file_bytes(const QByteArray &path, qint64 offset, qint64 length)
{
    QByteArray bytes(length, Qt::Uninitialized);
    QFile file(QFile::decodeName(path));
    qint64 filled = 0;
    if (file.open(QIODevice::ReadOnly | QIODevice::Unbuffered) && file.seek(offset)) {
        for (qint64 count = 1; filled < length && count > 0; filled += qMax<qint64>(count, 0))
            count = file.read(bytes.data() + filled, length - filled);
    }
    bytes.truncate(filled);
    return bytes;
}

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
        // Equal parts are frequent: a file that is there has this content, it was moved there whole.
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

/// Whatever is printed for want of memory helps no one.
void be_quiet()
{
    const rlimit no_core = {0, 0};
    setrlimit(RLIMIT_CORE, &no_core);
    if (const int nowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC); nowhere >= 0)
        ::dup2(nowhere, STDERR_FILENO);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
}

bool serve(const worker_request &request, const QByteArray &path, spool_folder &spool)
{
    const QByteArray stored = file_bytes(path, request.offset, request.length);
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
    be_quiet();
    spool_folder parts(spool);
    // What GMime and the C library load once is not part of a mail's share.
    const mail_record warm =
        read_mail("From x\nSubject: =?iso-8859-1?Q?=E4?=\nTo: a@b\n\na", false, [](QByteArrayView, mail_part &) {});
    const rlim_t base = warm.subject.isEmpty() ? 0 : used_memory();
    if (!answer({}))
        return 1;
    try {
        worker_request request;
        while (read_all(STDIN_FILENO, reinterpret_cast<char *>(&request), sizeof request)) {
            QByteArray path(request.path_size, Qt::Uninitialized);
            if (!read_all(STDIN_FILENO, path.data(), path.size()))
                return 1;
            limit_memory(base, request.length);
            if (!serve(request, path, parts))
                return 1;
        }
    } catch (const std::bad_alloc &) {
        return worker_out_of_memory;
    }
    return 0;
}
