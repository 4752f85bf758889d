/// Reads the contents of an archive or a directory, one member after the other.
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

/// Reads a source from its start to its end. Nothing a source claims is believed: sizes are those of the bytes actually
/// read.
class member_reader
{
public:
    member_reader() = default;
    virtual ~member_reader() = default;
    Q_DISABLE_COPY_MOVE(member_reader)

    /// The next member; false at the end and when reading fails (`failure` is set then).
    [[nodiscard]] virtual bool next(member &found) = 0;

    /// Bytes of the current member: how many were read, 0 at its end, -1 when reading fails (`failure` is set then).
    [[nodiscard]] virtual qint64 read(std::span<char> buffer) = 0;

    /// Why reading stopped; names the file.
    [[nodiscard]] const maybe_refusal &failure() const { return why_failed; }

    /// The kind of source, in a word or two. For an archive it is known once a member was requested.
    [[nodiscard]] virtual QString format() const = 0;

    /// The SHA-256 of the file, computed while it is read. Call it at the end; anything that was skipped is read then.
    /// Empty for a directory, when it was not requested, and when it could not be computed.
    [[nodiscard]] virtual QString sha256(const on_block &) { return {}; }

    /// A doubt that remains although the source was read to its end; empty when there is none.
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
