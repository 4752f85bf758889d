/// Which file-name extensions count as image, video and audio. An extension may be in more than one table.
#pragma once

#include <QString>

/// Each takes an extension in lower case, without its dot.
namespace media_extensions {

bool is_image(QStringView suffix); ///< 548 extensions
bool is_video(QStringView suffix); ///< 133 extensions, audio not included
bool is_audio(QStringView suffix); ///< 545 extensions

} // namespace media_extensions
