#include "host/reading/attachment_comparison.h"

#include <QCryptographicHash>
#include <QFile>

#include <algorithm>
#include <fcntl.h>
#include <memory>
#include <openssl/evp.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr QByteArrayView joiner(";++::++;");
constexpr QByteArrayView attachments_folder("./Attachments/");
constexpr qint64 block_size = 256 * 1024;

/// The files that a row lists.
QByteArrayList files_in(const QByteArray &listed)
{
    QByteArrayList files;
    for (qsizetype begin = 0; begin < listed.size();) {
        const qsizetype end = listed.indexOf(joiner, begin);
        files.append(listed.mid(begin, end < 0 ? -1 : end - begin));
        begin = end < 0 ? listed.size() : end + joiner.size();
    }
    return files;
}

/// The path of a file that a row lists, below one of two directories; empty when it would lead elsewhere. A name with a
/// NUL ends there.
QByteArray path_of(const QString &result, const QString &source_root, const QByteArray &listed)
{
    const QByteArray name(listed.constData());
    if (name.startsWith(attachments_folder)) {
        const QByteArray file = name.sliced(attachments_folder.size());
        const bool leads_out = file.isEmpty() || file == "." || file == ".." || file.contains('/');
        return leads_out ? QByteArray() : QFile::encodeName(result) + name;
    }
    const bool leads_out =
        !name.startsWith('/') || source_root.isEmpty() || name.contains("/../") || name.endsWith("/..");
    return leads_out ? QByteArray() : QFile::encodeName(source_root) + name;
}

/// A file that is only read; no link is followed.
class compared_content
{
public:
    explicit compared_content(const QByteArray &path)
    {
        const int descriptor =
            path.isEmpty() ? -1 : ::open(path.constData(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
        struct stat status = {};
        const bool is_file = descriptor >= 0 && ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
        if (!is_file ||
            !file.open(descriptor, QIODevice::ReadOnly | QIODevice::Unbuffered, QFileDevice::AutoCloseHandle)) {
            if (descriptor >= 0)
                ::close(descriptor);
        }
    }

    [[nodiscard]] bool is_there() const { return file.isOpen(); }
    [[nodiscard]] qint64 size() const { return file.size(); }
    [[nodiscard]] QByteArray read(qint64 count) { return file.read(count); }

    /// SHA-256 of the first bytes, in lower-case hex.
    [[nodiscard]] QByteArray sha256(qint64 count)
    {
        const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(), EVP_MD_CTX_free);
        EVP_DigestInit_ex(context.get(), EVP_sha256(), nullptr);
        file.seek(0);
        while (count > 0) {
            const QByteArray block = file.read(qMin(count, block_size));
            if (block.isEmpty())
                return {};
            EVP_DigestUpdate(context.get(), block.constData(), static_cast<std::size_t>(block.size()));
            count -= block.size();
        }
        QByteArray digest(EVP_MAX_MD_SIZE, Qt::Uninitialized);
        unsigned int size = 0;
        EVP_DigestFinal_ex(context.get(), reinterpret_cast<unsigned char *>(digest.data()), &size);
        return digest.first(size).toHex();
    }

private:
    QFile file;
};

/// True when `longer` begins with all of `shorter`.
bool begins_with(compared_content &longer, compared_content &shorter)
{
    for (QByteArray block = shorter.read(block_size); !block.isEmpty(); block = shorter.read(block_size)) {
        if (longer.read(block.size()) != block)
            return false;
    }
    return true;
}

} // namespace

qsizetype number_of_files(const QByteArray &listed)
{
    return listed.isEmpty() ? 0 : files_in(listed).size();
}

attachment_comparison::attachment_comparison(QString directory, mail_database &mails)
    : place(std::move(directory))
    , database(mails)
{
    part_query.prepare(database.connection(),
                       "SELECT path, size, sha256, file, is_text FROM part WHERE mail = ? ORDER BY rowid");
}

void attachment_comparison::load(qint64 mail)
{
    if (mail == mail_of_parts)
        return;
    mail_of_parts = mail;
    parts_of_mail.clear();
    part_numbers.clear();
    part_query.bind(mail);
    while (part_query.next()) {
        part_numbers.insert(part_query.text(0), parts_of_mail.size());
        parts_of_mail.push_back({part_query.text(0), part_query.number(1), part_query.text(2), part_query.text(3),
                                 part_query.number(4) != 0});
    }
}

void attachment_comparison::add(const stored_attachment &file)
{
    ++(file.kind == "identical" ? files.identical : file.kind == "missing" ? files.missing : files.altered);
    database.insert(file);
}

/// The part that has a file's content, when nothing else says where the file came from.
const known_part *attachment_comparison::part_with_content(const QByteArray &listed) const
{
    compared_content file(path_of(place, source_root, listed));
    if (!file.is_there())
        return nullptr;
    const QByteArray sha256 = file.sha256(file.size());
    const auto found = std::find_if(parts_of_mail.cbegin(), parts_of_mail.cend(),
                                    [&sha256](const known_part &part) { return part.sha256 == sha256; });
    return found == parts_of_mail.cend() ? nullptr : &*found;
}

QByteArray attachment_comparison::kind_of(const QByteArray &listed, const known_part *part) const
{
    compared_content file(path_of(place, source_root, listed));
    if (!file.is_there())
        return "missing";
    if (!part || part->sha256.isEmpty())
        return "other";
    if (file.size() >= part->size) {
        const bool same = file.sha256(part->size) == part->sha256;
        return !same ? "other" : file.size() == part->size ? "identical" : "longer";
    }
    compared_content whole(part->file.isEmpty() ? QByteArray() : QFile::encodeName(place) + part->file);
    return whole.is_there() && begins_with(whole, file) ? "shorter" : "other";
}

void attachment_comparison::compare(qint64 mail, qint64 row, const QByteArray &listed, const QByteArrayList &parts,
                                    QSet<QByteArray> &stored)
{
    if (listed.isEmpty())
        return;
    load(mail);
    const QByteArrayList listed_files = files_in(listed);
    for (qsizetype i = 0; i < listed_files.size(); ++i) {
        const known_part *part = nullptr;
        if (listed_files.size() == parts.size()) {
            const auto number = part_numbers.constFind(parts.at(i));
            part = number == part_numbers.cend() ? nullptr : &parts_of_mail[*number];
        } else {
            part = part_with_content(listed_files.at(i));
        }
        if (part)
            stored.insert(part->path);
        add({listed_files.at(i), row, mail == 0 ? std::optional<qint64>() : mail, kind_of(listed_files.at(i), part),
             part ? part->path : QByteArray()});
    }
}

void attachment_comparison::finish(qint64 mail, std::optional<qint64> row, const QSet<QByteArray> &stored)
{
    load(mail);
    for (const known_part &part : parts_of_mail) {
        if (!part.is_text && !stored.contains(part.path))
            add({{}, row, mail, "missing", part.path});
    }
}
