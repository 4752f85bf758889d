#include "tests/support/host_session.h"

#include "tests/support/support.h"

#include <QDir>
#include <QJsonDocument>

#include <cstdlib>
#include <fcntl.h>
#include <sys/prctl.h>
#include <unistd.h>

host_session::host_session()
{
    QDir().mkpath(path(QStringLiteral("tmp")));
}

QJsonObject host_session::record() const
{
    return QJsonDocument::fromJson(read_file(result(QStringLiteral("run.json")))).object();
}

QStringList host_session::rows(const QString &query) const
{
    return rows_of(result(QStringLiteral("Gmail.sqlite")), query);
}

int host_session::run(const QStringList &arguments, const QString &password)
{
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    if (!password.isNull())
        environment.insert(QStringLiteral("GMAIL_HOST_PASSWORD"), password);
    process.setProcessEnvironment(environment);
    process.setChildProcessModifier([] {
        ::setsid();                                  // no terminal to ask on
        for (const unsigned long right : {1UL, 2UL}) // CAP_DAC_OVERRIDE, CAP_DAC_READ_SEARCH
            ::prctl(PR_CAPBSET_DROP, right, 0, 0, 0);
    });
    process.start(QStringLiteral(GMAIL_HOST), arguments);
    process.waitForFinished(120000);
    output = QString::fromUtf8(process.readAllStandardOutput());
    errors = QString::fromUtf8(process.readAllStandardError());
    return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
}

int host_session::extract(const QString &source, const QStringList &more)
{
    return run(QStringList{QStringLiteral("extract"), path(source), path(QStringLiteral("r"))} + more);
}

std::unique_ptr<QProcess> host_session::start_on_terminal(const QStringList &arguments, int &terminal) const
{
    terminal = ::posix_openpt(O_RDWR | O_NOCTTY);
    ::grantpt(terminal);
    ::unlockpt(terminal);
    const QByteArray name = ::ptsname(terminal);
    auto process = std::make_unique<QProcess>();
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("TMPDIR"), path(QStringLiteral("tmp")));
    environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), path(QStringLiteral("run"))); // else Qt makes one in TMPDIR
    process->setProcessEnvironment(environment);
    process->setChildProcessModifier([name] {
        ::setsid();
        ::open(name.constData(), O_RDWR); // the first terminal that a session opens becomes its own
    });
    process->start(QStringLiteral(GMAIL_HOST), arguments);
    return process;
}
