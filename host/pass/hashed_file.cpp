#include "host/pass/hashed_file.h"

qint64 hashed_file::readData(char *bytes, qint64 max_size)
{
    const qint64 begin = pos();
    const qint64 count = QFile::readData(bytes, max_size);
    if (digest && count > 0 && begin <= digest->size() && begin + count > digest->size())
        digest->add(QByteArrayView(bytes, count).sliced(digest->size() - begin));
    return count;
}

QString hashed_file::sha256(const on_block &go_on)
{
    if (!digest || !seek(digest->size()))
        return {};
    QByteArray block(hash_block_size, Qt::Uninitialized);
    qint64 count = 0;
    while ((count = read(block.data(), block.size())) > 0) {
        if (!go_on(count))
            return {};
    }
    return count < 0 ? QString() : digest->sha256();
}
