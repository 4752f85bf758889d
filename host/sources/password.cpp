#include "host/sources/password.h"

#include <QFile>

#include <termios.h>

namespace {

/// Keeps what is typed from being shown.
class hidden_input
{
public:
    explicit hidden_input(int descriptor)
        : terminal(descriptor)
    {
        tcgetattr(terminal, &before);
        termios hidden = before;
        hidden.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        tcsetattr(terminal, TCSAFLUSH, &hidden);
    }
    ~hidden_input() { tcsetattr(terminal, TCSAFLUSH, &before); }
    Q_DISABLE_COPY_MOVE(hidden_input)

private:
    int terminal;
    termios before = {};
};

std::optional<QString> asked_on_terminal(const QString &source)
{
    QFile terminal(QStringLiteral("/dev/tty"));
    if (!terminal.open(QIODevice::ReadWrite | QIODevice::Unbuffered))
        return {};
    terminal.write(QString(QStringLiteral("Password of ") + source + QStringLiteral(": ")).toLocal8Bit());
    QByteArray line;
    {
        const hidden_input hidden(terminal.handle());
        for (char letter = 0; terminal.read(&letter, 1) == 1 && letter != '\n';)
            line.append(letter);
    }
    terminal.write("\n");
    return QString::fromLocal8Bit(line);
}

} // namespace

std::optional<QString> source_password(const QString &source)
{
    static std::optional<QString> known;
    if (!known && qEnvironmentVariableIsSet("GMAIL_HOST_PASSWORD"))
        known = qEnvironmentVariable("GMAIL_HOST_PASSWORD");
    if (!known)
        known = asked_on_terminal(source);
    return known;
}
