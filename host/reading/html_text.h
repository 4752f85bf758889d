/// The words of an HTML text, for the full-text search. Nothing is rendered and nothing is loaded.
#pragma once

#include <QByteArray>

/// UTF-8 without tags, comments, scripts and styles; the common character references are replaced.
[[nodiscard]] QByteArray html_text(QByteArrayView html);
