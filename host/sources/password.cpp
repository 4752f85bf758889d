#include "host/sources/password.h"

#include "host/terminal.h"

#include <QFile>

#include <poll.h>
#include <termios.h>

namespace {

constexpr int milliseconds_between_looks = 20; // a second Ctrl-C ends the process at once: be done before

/// Hides typed characters.
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

/// One line from the terminal; none when `go_on` ended the waiting.
std::optional<QByteArray> typed_line(QFile &terminal, const still_wanted &go_on)
{
    const hidden_input hidden(terminal.handle());
    QByteArray line;
    while (go_on()) {
        pollfd waiting = {terminal.handle(), POLLIN, 0};
        if (::poll(&waiting, 1, milliseconds_between_looks) <= 0)
            continue;
        char letter = 0;
        if (terminal.read(&letter, 1) != 1 || letter == '\n')
            return line;
        line.append(letter);
    }
    return {};
}

std::optional<QString> asked_on_terminal(const QString &source, const still_wanted &go_on)
{
    QFile terminal(QStringLiteral("/dev/tty"));
    if (!terminal.open(QIODevice::ReadWrite | QIODevice::Unbuffered))
        return {};
    terminal.write(QString(QStringLiteral("Password of ") + escaped(source) + QStringLiteral(": ")).toLocal8Bit());
    const std::optional<QByteArray> line = typed_line(terminal, go_on);
    terminal.write("\n");
    return line ? std::optional(QString::fromLocal8Bit(*line)) : std::nullopt;
}

} // namespace

std::optional<QString> source_password(const QString &source, const still_wanted &go_on)
{
    static std::optional<QString> known;
    if (!known && qEnvironmentVariableIsSet("GMAIL_HOST_PASSWORD"))
        known = qEnvironmentVariable("GMAIL_HOST_PASSWORD");
    if (!known)
        known = asked_on_terminal(source, go_on);
    return known;
}
