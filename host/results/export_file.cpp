#include "host/results/export_file.h"

#include <cstring>

namespace {

constexpr qsizetype buffer_size = 256 * 1024; ///< bytes

} // namespace

export_file::export_file(const QString &path)
    : file(path)
    , buffer(buffer_size, Qt::Uninitialized)
{
    if (!file.open(QIODevice::WriteOnly | QIODevice::NewOnly | QIODevice::Unbuffered)) {
        failed = true;
        why = file.errorString();
    }
}

void export_file::write(QByteArrayView bytes)
{
    while (!bytes.isEmpty()) {
        if (filled == buffer.size())
            flush();
        const qsizetype now = qMin(bytes.size(), buffer.size() - filled);
        std::memcpy(buffer.data() + filled, bytes.data(), static_cast<std::size_t>(now));
        filled += now;
        bytes = bytes.sliced(now);
    }
}

void export_file::flush()
{
    if (!failed && file.write(buffer.constData(), filled) != filled) {
        failed = true;
        why = file.errorString();
    }
    filled = 0;
}

maybe_refusal export_file::close()
{
    flush();
    file.close();
    if (!failed)
        return {};
    return refusal{exit_status::bad_result, file.fileName() + QLatin1StringView(": cannot be written (") + why +
                                                QLatin1StringView("); free some space, or choose another --out")};
}
