/// The splitter again, slow and plain: one line at a time, everything as text.
#pragma once

#include <QBuffer>
#include <QList>
#include <QString>

/// The messages of a file. Message number `keep` (counted from 1) is not dropped: the next one is appended to it.
[[nodiscard]] inline QList<QByteArray> split_slowly(QByteArray file, int keep)
{
    QList<QByteArray> messages;
    QBuffer device(&file);
    device.open(QIODevice::ReadOnly);
    const auto read_line = [&device] { return QString::fromLocal8Bit(device.readLine()); };
    QString buffer;
    QString line;
    bool inside = false;
    while (true) {
        if (!inside) {
            line = read_line();
            if (device.atEnd())
                return messages;
            inside = line.startsWith(u"From ");
            continue;
        }
        buffer += line;
        line = read_line();
        if (line.startsWith(u"From ")) {
            messages.append(buffer.toLocal8Bit());
            if (messages.size() != keep)
                buffer.clear();
        } else if (device.atEnd()) {
            return messages;
        }
    }
}
