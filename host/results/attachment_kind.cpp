#include "host/results/attachment_kind.h"

#include <QHash>

namespace {

using kind = attachment_kind;

struct known_extension
{
    const char *extensions; ///< separated by blanks
    attachment_kind kind;
};

constexpr known_extension known_extensions[] = {
    {"png jpg jpeg gif webp bmp tif tiff heic heif svg ico avif psd", kind::picture},
    {"mp4 mov avi mkv webm 3gp m4v mpg mpeg wmv", kind::video},
    {"mp3 wav m4a ogg oga opus flac amr aac wma", kind::sound},
    {"pdf", kind::pdf},
    {"doc docx odt rtf pages dot dotx docm wpd", kind::document},
    {"xls xlsx xlsm xlsb ods csv tsv numbers", kind::sheet},
    {"ppt pptx pptm odp key pps ppsx", kind::slides},
    {"zip 7z rar tar gz tgz bz2 xz zst jar cab iso dmg", kind::archive},
    {"eml msg mbox emlx pst ost", kind::mail},
    {"ics ical vcs", kind::calendar},
    {"vcf vcard", kind::contact},
    {"html htm xhtml mht mhtml xml", kind::web},
    {"txt log md json ini cfg yml yaml patch diff", kind::text},
    {"exe dll scr bat cmd com msi js jse vbs vbe ps1 sh apk app lnk hta reg py", kind::program},
    {"p7s p7m p7c asc sig pgp gpg cer crt pem", kind::signature},
};

struct known_type
{
    const char *begin;
    attachment_kind kind;
};

/// The first one with which a media type begins counts.
constexpr known_type known_types[] = {
    {"image/", kind::picture},
    {"video/", kind::video},
    {"audio/", kind::sound},
    {"application/pdf", kind::pdf},
    {"application/msword", kind::document},
    {"application/rtf", kind::document},
    {"text/rtf", kind::document},
    {"application/vnd.openxmlformats-officedocument.word", kind::document},
    {"application/vnd.oasis.opendocument.text", kind::document},
    {"application/vnd.ms-excel", kind::sheet},
    {"application/vnd.openxmlformats-officedocument.spreadsheet", kind::sheet},
    {"application/vnd.oasis.opendocument.spreadsheet", kind::sheet},
    {"text/csv", kind::sheet},
    {"application/vnd.ms-powerpoint", kind::slides},
    {"application/vnd.openxmlformats-officedocument.presentation", kind::slides},
    {"application/vnd.oasis.opendocument.presentation", kind::slides},
    {"application/zip", kind::archive},
    {"application/x-zip", kind::archive},
    {"application/gzip", kind::archive},
    {"application/x-7z", kind::archive},
    {"application/x-rar", kind::archive},
    {"application/x-tar", kind::archive},
    {"message/rfc822", kind::mail},
    {"message/delivery-status", kind::text},
    {"text/calendar", kind::calendar},
    {"text/vcard", kind::contact},
    {"text/x-vcard", kind::contact},
    {"text/html", kind::web},
    {"application/xhtml", kind::web},
    {"application/pkcs7", kind::signature},
    {"application/x-pkcs7", kind::signature},
    {"application/pgp", kind::signature},
    {"application/x-msdownload", kind::program},
    {"application/x-msdos", kind::program},
};

QHash<QByteArray, attachment_kind> kinds_of_extensions()
{
    QHash<QByteArray, attachment_kind> kinds;
    for (const known_extension &each : known_extensions) {
        for (const QByteArray &extension : QByteArray(each.extensions).split(' '))
            kinds[extension] = each.kind;
    }
    return kinds;
}

} // namespace

attachment_kind kind_of_attachment(const QByteArray &media_type, const QByteArray &name)
{
    static const QHash<QByteArray, attachment_kind> kinds = kinds_of_extensions();
    const auto found = kinds.constFind(name.sliced(name.lastIndexOf('.') + 1).toLower());
    if (found != kinds.constEnd() && *found == kind::program)
        return kind::program; // a program under the type of a picture is still a program
    for (const known_type &each : known_types) {
        if (media_type.startsWith(each.begin))
            return each.kind;
    }
    if (found != kinds.constEnd())
        return *found;
    return media_type.startsWith("text/") ? kind::text : kind::other;
}
