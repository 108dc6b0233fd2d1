#pragma once

#include <QByteArray>
#include <QHash>
#include <QJsonObject>
#include <QString>
#include <QStringList>

namespace corvane {

// The user's preferences as one JSON object in one file: read once when created, written whole
// and atomically after every change, so a crash leaves either the old file or the new one.
//
// Each value keeps the JSON type it was written with (a boolean stays a boolean). Reading a key
// that holds a value of another type gives that type's empty value; a missing key gives
// `ifMissing`. Nothing here can fail for the caller: a file that cannot be read is set aside and
// the store starts empty; a write that fails is logged and the value stays in memory.
class PreferencesStore
{
public:
    explicit PreferencesStore(QString filePath);

    QString filePath() const { return m_filePath; }

    bool contains(const QString &key) const;
    void remove(const QString &key);

    QString string(const QString &key, const QString &ifMissing = {}) const;
    void setString(const QString &key, const QString &value);

    int integer(const QString &key, int ifMissing = 0) const;
    void setInteger(const QString &key, int value);

    double real(const QString &key, double ifMissing = 0.0) const;
    void setReal(const QString &key, double value);

    bool boolean(const QString &key, bool ifMissing = false) const;
    void setBoolean(const QString &key, bool value);

    QStringList stringList(const QString &key) const;
    void setStringList(const QString &key, const QStringList &value);

    // A dictionary of byte values. JSON has no byte type, so the bytes are kept as base64 text
    // inside a JSON object; an entry that is not valid base64 is left out when reading.
    QHash<QString, QByteArray> dataDictionary(const QString &key) const;
    void setDataDictionary(const QString &key, const QHash<QString, QByteArray> &value);

private:
    void load();
    void setAsideUnreadableFile(const QString &reason);
    void set(const QString &key, const QJsonValue &value);
    void save() const;

    QString m_filePath;
    QJsonObject m_values;
};

} // namespace corvane
