#include "host/reading/reading_job.h"

#include "host/reading/android_mails.h"
#include "host/source_kinds.h"

namespace {

QStringList places_of(const ready_source &source)
{
    if (source.found.scheme == android_scheme)
        return android_mails::places_in(source.found.root);
    QStringList places;
    for (const source_file &file : source.files) {
        if (file.place.startsWith(QLatin1StringView("Mail/")))
            places.append(file.place);
    }
    places.sort(); // directories are listed in no particular order
    return places;
}

} // namespace

reading_job job_of(const QList<ready_source> &sources, const QString &directory, int source_count, int threads)
{
    reading_job job = {.directory = directory, .sources = {}, .threads = threads};
    for (const ready_source &source : sources)
        job.sources.append({source.found.scheme, source.found.root,
                            QLatin1StringView("Source") + QString::number(source_count++), places_of(source)});
    return job;
}
