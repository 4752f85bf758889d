/// What an archive or a directory contains, one member after the other.
#pragma once

#include "host/pass/digest.h"
#include "host/refusal.h"

#include <QString>

#include <span>

struct member
{
    enum class kind { file, directory, link, special };

    QString path; ///< as stored, "/" between folders; empty when the name cannot be read
    kind type = kind::file;
    qint64 declared_size = 0; ///< bytes, as the source claims
    qint64 modified = -1;     ///< seconds since the epoch, -1 when unknown
    bool encrypted = false;
    QString fault = {}; ///< why it cannot be read, or not listed; empty when all is well
};

/// Reads a source from its start to its end. Nothing a source claims is believed: sizes are those of the bytes that
/// really come.
class member_reader
{
public:
    member_reader() = default;
    virtual ~member_reader() = default;
    Q_DISABLE_COPY_MOVE(member_reader)

    /// The next member; false at the end and when the source cannot be read on (`failure` is set then).
    [[nodiscard]] virtual bool next(member &found) = 0;

    /// Bytes of the member at hand: how many came, 0 at its end, -1 when it cannot be read on (`failure` is set then).
    [[nodiscard]] virtual qint64 read(std::span<char> buffer) = 0;

    /// Why the source cannot be read on; names the file.
    [[nodiscard]] const maybe_refusal &failure() const { return why_failed; }

    /// What kind of source it is, in a word or two. Of an archive it is known once a member was asked for.
    [[nodiscard]] virtual QString format() const = 0;

    /// The SHA-256 of the file that is read, made while it is read. Call it at the end; what was passed over is read
    /// then. Empty for a directory, when it was not asked for, and when it could not be made.
    [[nodiscard]] virtual QString sha256(const on_block &) { return {}; }

    /// What the source leaves open although it was read to its end; empty when nothing.
    [[nodiscard]] virtual QString doubt() const { return {}; }

protected:
    bool fail(const QString &text)
    {
        why_failed = refusal{exit_status::bad_source, text};
        return false;
    }
    bool fail_as_cancelled()
    {
        why_failed = refused_as_cancelled;
        return false;
    }

private:
    maybe_refusal why_failed;
};
