/// Mails as files, cut from their source again: a result does not contain their bytes.
#pragma once

#include "host/results/export.h"
#include "host/sources/ready_source.h"

/// "mails/<id>.eml", a folder per thousand, for each mail of Mail.sqlite whose bytes in the sources have the recorded
/// hash, and "mails.csv", which lists for every mail where it was and whether it was exported. Mails that cannot be
/// exported are a failure of the job. Refused, with status 4, when the sources have none of the mails.
[[nodiscard]] maybe_refusal export_eml(export_job &job, const QList<ready_source> &sources);

/// The message in a mail's bytes of an mbox: without the "From " line and the empty line at the end, and without the
/// ">" that an mbox puts before lines that begin with "From ".
[[nodiscard]] QByteArray message_of(QByteArrayView mail_in_mbox);
