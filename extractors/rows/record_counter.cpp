#include "extractors/rows/record_counter.h"

#include "extractors/rows/row_writer.h"

#include <utility>

namespace {

constexpr qint64 milliseconds_between_reports = 1000;

} // namespace

record_counter::record_counter(report_total report_to_whom)
    : report_to(std::move(report_to_whom))
{
}

bool record_counter::insert(row_writer &rows, const QStringList &values)
{
    if (!rows.insert(values)) {
        record_count_qint64 -= rows.take_lost_rows();
        return false;
    }
    ++record_count_qint64;
    if (elapsed_timer.elapsed() <= milliseconds_between_reports) {
        rows.commit_if_due();
        return true;
    }
    finish(rows);
    report();
    elapsed_timer.restart();
    return true;
}

void record_counter::finish(row_writer &rows)
{
    rows.commit();
    record_count_qint64 -= rows.take_lost_rows();
}
