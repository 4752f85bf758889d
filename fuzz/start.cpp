#include "fuzz/fuzz.h"

namespace {

/// Warnings about damaged input are not findings, and millions of them would hide the ones that are.
void show_fatal_messages_only(QtMsgType type, const QMessageLogContext &, const QString &text)
{
    if (type == QtFatalMsg)
        std::fprintf(stderr, "%s\n", qPrintable(text));
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    qputenv("TZ", "Europe/Berlin"); // one with daylight saving: no date may depend on it
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qInstallMessageHandler(show_fatal_messages_only);
    return 0;
}
