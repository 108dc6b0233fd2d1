#include "core/settings/PreferencesStore.h"

#include "core/Log.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QSaveFile>

#include <cmath>
#include <limits>

namespace corvane {

PreferencesStore::PreferencesStore(QString filePath)
    : m_filePath(std::move(filePath))
{
    load();
}

void PreferencesStore::load()
{
    QFile file(m_filePath);
    if (!file.exists())
        return;
    if (!file.open(QIODevice::ReadOnly)) {
        // The next write would replace a file we never read: set it aside like a damaged one.
        setAsideUnreadableFile(file.errorString());
        return;
    }
    const QByteArray bytes = file.readAll();
    file.close();

    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &error);
    if (error.error != QJsonParseError::NoError) {
        setAsideUnreadableFile(error.errorString());
        return;
    }
    if (!document.isObject()) {
        setAsideUnreadableFile(QStringLiteral("not a JSON object"));
        return;
    }
    m_values = document.object();
}

// A damaged file is never deleted: the user may want their settings back by hand. It is renamed
// so the next write does not replace it, and the start goes on with defaults.
void PreferencesStore::setAsideUnreadableFile(const QString &reason)
{
    const QString stamp = QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd-HHmmss"));
    QString aside = m_filePath + QStringLiteral(".unreadable-") + stamp;
    for (int n = 2; QFileInfo::exists(aside); ++n)
        aside = m_filePath + QStringLiteral(".unreadable-") + stamp + QLatin1Char('-') + QString::number(n);
    const bool moved = QFile::rename(m_filePath, aside);
    logLine("Settings", QStringLiteral("Cannot read %1 (%2); %3; using defaults")
                            .arg(m_filePath, reason,
                                 moved ? QStringLiteral("moved it to ") + aside
                                       : QStringLiteral("could not move it aside")));
}

bool PreferencesStore::contains(const QString &key) const
{
    return m_values.contains(key);
}

void PreferencesStore::remove(const QString &key)
{
    if (!m_values.contains(key))
        return;
    m_values.remove(key);
    save();
}

QString PreferencesStore::string(const QString &key, const QString &ifMissing) const
{
    if (!m_values.contains(key))
        return ifMissing;
    return m_values.value(key).toString();
}

void PreferencesStore::setString(const QString &key, const QString &value)
{
    set(key, value);
}

int PreferencesStore::integer(const QString &key, int ifMissing) const
{
    if (!m_values.contains(key))
        return ifMissing;
    const QJsonValue value = m_values.value(key);
    if (!value.isDouble())
        return 0;
    // JSON numbers are doubles: only a whole number in range reads as an integer.
    const double number = value.toDouble();
    if (std::trunc(number) != number || number < std::numeric_limits<int>::min()
        || number > std::numeric_limits<int>::max())
        return 0;
    return int(number);
}

void PreferencesStore::setInteger(const QString &key, int value)
{
    set(key, value);
}

double PreferencesStore::real(const QString &key, double ifMissing) const
{
    if (!m_values.contains(key))
        return ifMissing;
    return m_values.value(key).toDouble(0.0);
}

void PreferencesStore::setReal(const QString &key, double value)
{
    set(key, value);
}

bool PreferencesStore::boolean(const QString &key, bool ifMissing) const
{
    if (!m_values.contains(key))
        return ifMissing;
    return m_values.value(key).toBool(false);
}

void PreferencesStore::setBoolean(const QString &key, bool value)
{
    set(key, value);
}

QStringList PreferencesStore::stringList(const QString &key) const
{
    const QJsonValue value = m_values.value(key);
    if (!value.isArray())
        return {};
    QStringList list;
    for (const QJsonValue &item : value.toArray())
        if (item.isString())
            list << item.toString();
    return list;
}

void PreferencesStore::setStringList(const QString &key, const QStringList &value)
{
    set(key, QJsonArray::fromStringList(value));
}

QHash<QString, QByteArray> PreferencesStore::dataDictionary(const QString &key) const
{
    const QJsonValue value = m_values.value(key);
    if (!value.isObject())
        return {};
    QHash<QString, QByteArray> dictionary;
    const QJsonObject object = value.toObject();
    for (auto it = object.begin(); it != object.end(); ++it) {
        if (!it.value().isString())
            continue;
        auto decoded = QByteArray::fromBase64Encoding(it.value().toString().toLatin1(),
                                                      QByteArray::AbortOnBase64DecodingErrors);
        if (decoded)
            dictionary.insert(it.key(), *decoded);
    }
    return dictionary;
}

void PreferencesStore::setDataDictionary(const QString &key, const QHash<QString, QByteArray> &value)
{
    QJsonObject object;
    for (auto it = value.begin(); it != value.end(); ++it)
        object.insert(it.key(), QString::fromLatin1(it.value().toBase64()));
    set(key, object);
}

void PreferencesStore::set(const QString &key, const QJsonValue &value)
{
    m_values.insert(key, value);
    save();
}

void PreferencesStore::save() const
{
    QDir().mkpath(QFileInfo(m_filePath).absolutePath());
    QSaveFile file(m_filePath);
    if (!file.open(QIODevice::WriteOnly)) {
        logLine("Settings", QStringLiteral("Cannot write %1: %2").arg(m_filePath, file.errorString()));
        return;
    }
    file.write(QJsonDocument(m_values).toJson(QJsonDocument::Indented));
    if (!file.commit())
        logLine("Settings", QStringLiteral("Cannot write %1: %2").arg(m_filePath, file.errorString()));
}

} // namespace corvane
