#ifndef SCHEMAVALIDATOR_H
#define SCHEMAVALIDATOR_H

#include <QJsonObject>
#include <QJsonValue>
#include <QString>

/**
 * Holds JSON values against schemas of one description: the keywords that the description of the
 * interface uses, in their meaning of draft 2020-12. A keyword that is not known here is an error
 * of the description, so that none is passed over silently.
 */
class SchemaValidator
{
public:
    /** `root` is the whole document that the references of its schemas point into. */
    explicit SchemaValidator(QJsonObject root);

    /** What is wrong with `value`, beginning with the place; empty when nothing is. */
    QString Problem(const QJsonValue &value, const QJsonObject &schema) const;

    /** The object that a reference such as "#/components/schemas/Error" names. */
    QJsonObject Resolve(const QString &reference) const;

private:
    QString Combined(const QJsonValue &value, const QJsonObject &schema, const QString &at) const;
    QString Check(const QJsonValue &value, const QJsonObject &schema, const QString &at) const;
    QString CheckKeyword(const QString &keyword, const QJsonValue &value, const QJsonObject &schema,
                         const QString &at) const;
    QString CheckArray(const QJsonArray &array, const QJsonObject &schema, const QString &at) const;
    QString CheckObject(const QJsonObject &object, const QJsonObject &schema,
                        const QString &at) const;
    QStringList KnownMembers(const QJsonObject &schema) const;

    QJsonObject description;
};

#endif
