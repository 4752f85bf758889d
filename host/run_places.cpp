#include "host/run_places.h"

#include "host/evidence.h"

#include <QDir>
#include <QFileInfo>

#include <cerrno>
#include <filesystem>
#include <system_error>
#include <unistd.h>

namespace {

bool has_owner(const QLockFile &lock)
{
    return lock.getLockInfo(nullptr, nullptr, nullptr);
}

/// A process killed while creating the lock file leaves it empty; one that is still creating it finishes within a
/// second.
bool take(QLockFile &lock)
{
    if (lock.tryLock())
        return true;
    if (has_owner(lock))
        return false;
    constexpr int milliseconds_to_wait = 1000;
    return lock.tryLock(milliseconds_to_wait) || (!has_owner(lock) && lock.removeStaleLockFile() && lock.tryLock());
}

} // namespace

void remove_whole(const QString &directory)
{
    constexpr int max_tries = 20;
    for (int i = 0; i < max_tries && QFileInfo::exists(directory); ++i)
        QDir(directory).removeRecursively();
}

run_places::run_places(const extract_options &run_options)
    : options(run_options)
    , paths(run_options.result_dir)
{
}

run_places::~run_places()
{
    lock.reset();
    if (!kept)
        unmake();
}

void run_places::unmake() const
{
    if (made_log)
        QFile::remove(options.log_file);
    for (const QString &directory : made_directories)
        QDir().rmdir(directory);
}

void run_places::abandon() const
{
    remove_whole(paths.staging);
    remove_whole(paths.directory + QLatin1StringView("tmp"));
    QFile::remove(paths.lock);
    if (!kept)
        unmake();
}

maybe_refusal run_places::check(last_rows &before) const
{
    for (const QString &source : options.sources) {
        if (lies_inside(options.result_dir, source))
            return refusal{exit_status::bad_result,
                           options.result_dir + QLatin1StringView(": is inside the source, which must "
                                                                  "not be written to; choose another RESULT_DIR")};
        if (lies_inside(source, paths.directory) || lies_inside(source, paths.staging))
            return refusal{exit_status::bad_result,
                           options.result_dir + QLatin1StringView(": its result directory contains the source; "
                                                                  "choose another RESULT_DIR")};
        if (options.log && lies_inside(options.log_file, source))
            return refusal{exit_status::bad_result,
                           options.log_file + QLatin1StringView(": is inside the source, which must "
                                                                "not be written to; choose another --log file")};
    }
    if (maybe_refusal unreadable = find_last_rows(paths.database, before))
        return unreadable;
    if (options.append || options.clear)
        return {};
    // A second run would double the rows of the first.
    for (auto table = before.cbegin(); table != before.cend(); ++table) {
        if (table.value() > 0)
            return refusal{exit_status::bad_result,
                           paths.database +
                               QLatin1StringView(": already contains rows; --clear empties the chosen tables "
                                                 "first, --append adds to them")};
    }
    return {};
}

maybe_refusal run_places::make()
{
    for (QString directory = QDir::cleanPath(paths.directory); !QFileInfo::exists(directory);
         directory = QFileInfo(directory).path())
        made_directories.append(directory);
    std::error_code problem;
    const std::string directory = QFile::encodeName(paths.directory).toStdString();
    std::filesystem::create_directories(directory, problem);
    if (!problem && ::access(directory.c_str(), W_OK | X_OK) != 0)
        problem.assign(errno, std::generic_category());
    if (problem)
        return refusal{exit_status::bad_result, options.result_dir + QLatin1StringView(": cannot be written (") +
                                                    QString::fromLocal8Bit(problem.message()) +
                                                    QLatin1StringView("); choose another RESULT_DIR")};
    lock.emplace(paths.lock);
    lock->setStaleLockTime(0); // the lock of a long run is not stale
    if (!take(*lock)) {
        lock.reset();
        return refusal{exit_status::bad_result,
                       options.result_dir +
                           QLatin1StringView(": another run is using it; wait until it ends, or choose "
                                             "another RESULT_DIR")};
    }
    return {};
}

maybe_refusal run_places::make_log()
{
    if (!options.log)
        return {};
    made_log = !QFileInfo::exists(options.log_file);
    if (QFile(options.log_file).open(QIODevice::Append))
        return {};
    made_log = false;
    return refusal{exit_status::bad_result,
                   options.log_file + QLatin1StringView(": cannot be opened for the log; name another --log file "
                                                        "or use --no-log")};
}
