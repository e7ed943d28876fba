#include "Verb.h"

#include "Diagnostics.h"
#include "KeyCheck.h"
#include "TerminationSignals.h"

#include <QCoreApplication>

Verb::Verb(const QString &name, const QString &description)
    : m_name(name)
    , m_description(description)
{ }

Verb::~Verb() = default;

QString Verb::name() const
{
    return m_name;
}

QString Verb::description() const
{
    return m_description;
}

QString Verb::problem() const
{
    return QString();
}

QString Verb::prepare()
{
    return QString();
}

CommonOptions *Verb::common()
{
    return &m_common;
}

ExitCode Verb::run(const TerminationSignals &signals)
{
    m_output = std::make_unique<StandardOutput>(signals);
    m_session = std::make_unique<DeviceSession>();
    connect(m_output.get(), &StandardOutput::closed, this, [this] { finish(ExitCode::Done); });
    connect(m_output.get(), &StandardOutput::failed, this, [this](const QString &reason) {
        fail(ExitCode::Failed,
             QStringLiteral("Standard output cannot be written: %1.").arg(reason));
    });
    connect(m_output.get(), &StandardOutput::interrupted, this, &Verb::interrupted);
    connect(&signals, &TerminationSignals::terminationRequested, this, &Verb::interrupted);
    connect(m_session.get(), &DeviceSession::stateChanged, this, &Verb::followState);
    QMetaObject::invokeMethod(this, &Verb::start, Qt::QueuedConnection);
    QCoreApplication::exec();
    m_session->disconnect(this);
    m_session->close();
    return m_code;
}

SessionOptions Verb::sessionOptions() const
{
    return m_common.sessionOptions();
}

void Verb::opening() { }

void Verb::lost(const SessionError &error)
{
    fail(error);
}

void Verb::closed(const SessionError &error)
{
    fail(error);
}

void Verb::interrupted()
{
    fail(ExitCode::Interrupted, QStringLiteral("Interrupted."));
}

DeviceSession *Verb::session() const
{
    return m_session.get();
}

StandardOutput *Verb::output()
{
    return m_output.get();
}

bool Verb::isJson() const
{
    return m_common.isJson;
}

SessionError Verb::keyError(const QString &key) const
{
    return checkedKey(key, m_session->equipmentTable().keys());
}

void Verb::finish(ExitCode code)
{
    if (m_isFinished)
        return;
    m_isFinished = true;
    m_code = code;
    QCoreApplication::quit();
}

void Verb::fail(ExitCode code, const QString &reason)
{
    if (!m_isFinished)
        Diagnostics::line(reason);
    finish(code);
}

void Verb::fail(const SessionError &error)
{
    fail(exitCodeOf(error.code), error.text);
}

bool Verb::isFinished() const
{
    return m_isFinished;
}

void Verb::confirm(const QString &text, const QJsonObject &object)
{
    if (isJson())
        m_output->json(object);
    else if (!m_common.isQuiet)
        m_output->text(text + QLatin1Char('\n'));
}

void Verb::start()
{
    opening();
    if (!m_session->open(sessionOptions()))
        closed(m_session->lastError());
}

void Verb::followState(DeviceSession::State state)
{
    if (m_isFinished)
        return;
    switch (state) {
    case DeviceSession::State::Ready:
        ready();
        break;
    case DeviceSession::State::Lost:
        lost(m_session->lastError());
        break;
    case DeviceSession::State::Closed:
        closed(m_session->lastError());
        break;
    default:
        break;
    }
}
