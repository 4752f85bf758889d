#include "host/records/failure_text.h"

namespace {

/// A text that marks a failure, and its meaning; the first one found in a message counts.
struct known_failure
{
    QLatin1StringView mark;
    QLatin1StringView meaning;
};

constexpr known_failure known_failures[] = {
    {QLatin1StringView("Destination Db opening"), QLatin1StringView("the result database could not be opened")},
    {QLatin1StringView("Db opening"), QLatin1StringView("the database could not be opened; its rows are missing")},
    {QLatin1StringView("Select query"),
     QLatin1StringView("the database could not be read completely; some of its rows are missing")},
    {QLatin1StringView("Insertion Query"), QLatin1StringView("a row could not be stored")},
    {QLatin1StringView("Query insert"), QLatin1StringView("a row could not be stored")},
    {QLatin1StringView("[copy of source file]"),
     QLatin1StringView("could not be copied for reading; its contents are missing")},
    {QLatin1StringView("[link leads out of the source]"),
     QLatin1StringView("a link that leads out of the source was not followed; give the folder it leads to")},
    {QLatin1StringView("File Open Failed:"), QLatin1StringView("the file could not be opened")},
    {QLatin1StringView("became shorter"), QLatin1StringView("the file shrank while it was read")},
    {QLatin1StringView("shrank"), QLatin1StringView("the file shrank while it was read")},
    {QLatin1StringView("too large and left out"), QLatin1StringView("a message was too large and was skipped")},
    {QLatin1StringView("File Read"), QLatin1StringView("the file could not be read to its end")},
    {QLatin1StringView("File Write"), QLatin1StringView("the attachment was only partly written")},
    {QLatin1StringView("memory"), QLatin1StringView("memory ran out; the extraction of this source stopped")},
    {QLatin1StringView("[commit]"), QLatin1StringView("the last rows were lost")},
    {QLatin1StringView("[directory cannot be read]"),
     QLatin1StringView("the folder could not be read; its contents are missing")},
    {QLatin1StringView("[name cannot be read]"),
     QLatin1StringView("the name is not valid UTF-8, so the file could not be opened")},
    {QLatin1StringView("[debug log]"), QLatin1StringView("lines of the debug log were lost (was the disk full?)")},
    {QLatin1StringView("too many inserts in a row"),
     QLatin1StringView("too many failed inserts in a row; messages were dropped")},
    {QLatin1StringView("left out:"), QLatin1StringView("a message names too many attachments; some were skipped")},
    {QLatin1StringView("too large or too many attributes"),
     QLatin1StringView("the list of warmed-up accounts was not read; rows of accounts are missing")},
};

/// The evidence file that a working copy was made of; any other path as it is.
QString evidence_of(const QString &path, const ready_source &source, const result_paths &paths)
{
    const QString copies = paths.directory + QLatin1StringView("tmp/");
    if (!path.startsWith(copies))
        return path;
    const QString name = path.sliced(copies.size());
    for (const source_file &file : source.files) {
        if (file.place.section(u'/', -1) == name)
            return source.staged ? file.given_in + QLatin1StringView(", ") + file.member
                                 : QString(source.found.root + file.place);
    }
    return name;
}

} // namespace

QString sentence_of_failure(const QString &line, const ready_source &source, const result_paths &paths)
{
    const qsizetype begin = line.indexOf(QLatin1StringView("]:-- "));
    const QString message = begin < 0 ? line : line.sliced(begin + 5);
    for (const known_failure &known : known_failures) {
        if (!message.contains(known.mark))
            continue;
        const qsizetype path = message.indexOf(u'/');
        const QString place = path >= 0                ? evidence_of(message.sliced(path).trimmed(), source, paths)
                              : source.given.isEmpty() ? source.found.root
                                                       : source.given.first().path;
        return place + QLatin1StringView(": ") + known.meaning;
    }
    return line;
}
