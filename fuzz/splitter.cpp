/// The splitter against the slow one, with small blocks and on a device that gives a few bytes at a time.
#include "extractors/takeout/mbox_splitter.h"

#include "fuzz/fuzz.h"
#include "tests/support/slow_splitter.h"

namespace {

class trickling_device : public QBuffer
{
public:
    trickling_device(QByteArray *bytes, qint64 max_at_once)
        : QBuffer(bytes)
        , max(max_at_once)
    {
    }

protected:
    qint64 readData(char *data, qint64 size) override { return QBuffer::readData(data, qMin(size, max)); }

private:
    qint64 max;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    fuzz_input input(data, size);
    const int keep = input.setting(4);
    const int max_at_once = 1 + input.setting(256);
    const int block_size = 64 + 16 * input.setting(256);
    QByteArray file = input.rest().toByteArray();

    trickling_device device(&file, max_at_once);
    device.open(QIODevice::ReadOnly | QIODevice::Unbuffered);
    mbox_splitter splitter(device, block_size);
    QList<QByteArray> messages;
    for (auto state = mbox_splitter::progress::reading; state != mbox_splitter::progress::file_ended;) {
        state = splitter.read();
        expect(state != mbox_splitter::progress::read_failed, "a buffer is readable");
        if (state != mbox_splitter::progress::message_complete)
            continue;
        messages.append(QByteArray(splitter.message().constData(), splitter.message().size()));
        if (messages.size() != keep)
            splitter.drop_message();
    }
    expect_same(messages, split_slowly(file, keep), "messages");
    return 0;
}
