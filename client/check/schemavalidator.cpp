#include "schemavalidator.h"

#include <QDateTime>
#include <QHash>
#include <QJsonArray>
#include <QRegularExpression>
#include <QStringList>
#include <cmath>

namespace {

bool IsOfType(const QJsonValue &value, const QString &type)
{
    switch (value.type()) {
    case QJsonValue::Object:
        return type == "object";
    case QJsonValue::Array:
        return type == "array";
    case QJsonValue::String:
        return type == "string";
    case QJsonValue::Bool:
        return type == "boolean";
    case QJsonValue::Double:
        return type == "number" ||
               (type == "integer" && std::trunc(value.toDouble()) == value.toDouble());
    default:
        return type == "null";
    }
}

QString CheckType(const QJsonValue &value, const QJsonValue &types, const QString &at)
{
    const QJsonArray allowed = types.isArray() ? types.toArray() : QJsonArray{types};
    QStringList names;
    for (const QJsonValue &type : allowed) {
        if (IsOfType(value, type.toString())) {
            return {};
        }
        names.append(type.toString());
    }
    return QString("%1 is not of type %2").arg(at, names.join(" or "));
}

// Compiled once: a list of work orders matches one for each of them.
const QRegularExpression &Compiled(const QString &pattern)
{
    static QHash<QString, QRegularExpression> patterns;
    auto known = patterns.find(pattern);
    if (known == patterns.end()) {
        known = patterns.insert(
            pattern, QRegularExpression(pattern, QRegularExpression::UseUnicodePropertiesOption));
    }
    return *known;
}

QString CheckString(const QString &text, const QJsonObject &schema, const QString &at)
{
    const int length = text.toUcs4().size();
    if (length < schema.value("minLength").toInt(0) ||
        length > schema.value("maxLength").toInt(length)) {
        return QString("%1 is %2 characters long").arg(at).arg(length);
    }
    const QString pattern = schema.value("pattern").toString();
    if (!pattern.isEmpty() && !Compiled(pattern).match(text).hasMatch()) {
        return QString("%1 does not match %2").arg(at, pattern);
    }
    if (schema.value("format") == "date-time" &&
        (!QDateTime::fromString(text, Qt::ISODate).isValid() || !text.endsWith('Z'))) {
        return QString("%1 is not a time in UTC: \"%2\"").arg(at, text);
    }
    return {};
}

// Read together with another keyword, or for people alone.
bool NeedsNoCheck(const QString &keyword)
{
    static const QStringList keywords = {"description",
                                         "title",
                                         "examples",
                                         "default",
                                         "contentMediaType",
                                         "minLength",
                                         "maxLength",
                                         "pattern",
                                         "format",
                                         "items",
                                         "properties",
                                         "required",
                                         "allOf",
                                         "additionalProperties",
                                         "maxProperties",
                                         "minimum",
                                         "unevaluatedProperties"};
    return keywords.contains(keyword);
}

} // namespace

SchemaValidator::SchemaValidator(QJsonObject root)
    : description(std::move(root))
{}

QString SchemaValidator::Problem(const QJsonValue &value, const QJsonObject &schema) const
{
    return Check(value, schema, QStringLiteral("the answer"));
}

QJsonObject SchemaValidator::Resolve(const QString &reference) const
{
    QJsonObject object = description;
    const QStringList names = reference.mid(2).split('/');
    for (const QString &name : names) {
        object = object.value(name).toObject();
    }
    return object;
}

QString SchemaValidator::Check(const QJsonValue &value, const QJsonObject &schema,
                               const QString &at) const
{
    for (auto keyword = schema.begin(); keyword != schema.end(); ++keyword) {
        QString problem = CheckKeyword(keyword.key(), value, schema, at);
        if (!problem.isEmpty()) {
            return problem;
        }
    }
    QString problem = Combined(value, schema, at);
    if (!problem.isEmpty() || value.isNull()) {
        return problem;
    }
    if (value.isString()) {
        return CheckString(value.toString(), schema, at);
    }
    if (value.isDouble() && schema.contains("minimum") &&
        value.toDouble() < schema.value("minimum").toDouble()) {
        return QString("%1 is too small").arg(at);
    }
    return value.isArray()    ? CheckArray(value.toArray(), schema, at)
           : value.isObject() ? CheckObject(value.toObject(), schema, at)
                              : QString();
}

QString SchemaValidator::CheckKeyword(const QString &keyword, const QJsonValue &value,
                                      const QJsonObject &schema, const QString &at) const
{
    const QJsonValue argument = schema.value(keyword);
    if (keyword == "$ref") {
        return Check(value, Resolve(argument.toString()), at);
    }
    if (keyword == "type") {
        return CheckType(value, argument, at);
    }
    if (keyword == "const") {
        return value == argument ? QString() : QString("%1 is not the constant value").arg(at);
    }
    if (keyword == "enum") {
        return argument.toArray().contains(value)
                   ? QString()
                   : QString("%1 is none of the named values").arg(at);
    }
    const bool known = NeedsNoCheck(keyword) || keyword == "oneOf" || keyword == "anyOf";
    return known ? QString() : QString("the description uses the unknown keyword %1").arg(keyword);
}

QString SchemaValidator::Combined(const QJsonValue &value, const QJsonObject &schema,
                                  const QString &at) const
{
    const QJsonArray all = schema.value("allOf").toArray();
    for (const QJsonValue &one : all) {
        QString problem = Check(value, one.toObject(), at);
        if (!problem.isEmpty()) {
            return problem;
        }
    }
    const bool exactlyOne = schema.contains("oneOf");
    const QJsonArray choices = schema.value(exactlyOne ? "oneOf" : "anyOf").toArray();
    int matches = 0;
    QString first;
    for (const QJsonValue &choice : choices) {
        const QString problem = Check(value, choice.toObject(), at);
        matches += problem.isEmpty() ? 1 : 0;
        first = first.isEmpty() ? problem : first;
    }
    if (choices.isEmpty() || matches == 1 || (matches > 1 && !exactlyOne)) {
        return {};
    }
    return matches == 0 ? first : QString("%1 can be read in more than one way").arg(at);
}

QString SchemaValidator::CheckArray(const QJsonArray &array, const QJsonObject &schema,
                                    const QString &at) const
{
    const QJsonObject items = schema.value("items").toObject();
    for (int index = 0; index < array.size() && !items.isEmpty(); ++index) {
        QString problem = Check(array.at(index), items, QString("%1[%2]").arg(at).arg(index));
        if (!problem.isEmpty()) {
            return problem;
        }
    }
    return {};
}

QString SchemaValidator::CheckObject(const QJsonObject &object, const QJsonObject &schema,
                                     const QString &at) const
{
    const QJsonArray required = schema.value("required").toArray();
    for (const QJsonValue &name : required) {
        if (!object.contains(name.toString())) {
            return QString("%1 lacks \"%2\"").arg(at, name.toString());
        }
    }
    if (object.size() > schema.value("maxProperties").toInt(object.size())) {
        return QString("%1 has members where none may be").arg(at);
    }
    const QJsonObject properties = schema.value("properties").toObject();
    const bool closed = schema.value("additionalProperties") == false ||
                        schema.value("unevaluatedProperties") == false;
    const QStringList known = closed ? KnownMembers(schema) : QStringList();
    for (auto member = object.begin(); member != object.end(); ++member) {
        if (closed && !known.contains(member.key())) {
            return QString("%1 has the unknown member \"%2\"").arg(at, member.key());
        }
        QString problem = Check(member.value(), properties.value(member.key()).toObject(),
                                at + '.' + member.key());
        if (!problem.isEmpty()) {
            return problem;
        }
    }
    return {};
}

QStringList SchemaValidator::KnownMembers(const QJsonObject &schema) const
{
    QStringList names = schema.value("properties").toObject().keys();
    const QJsonArray all = schema.value("allOf").toArray();
    for (const QJsonValue &one : all) {
        names += KnownMembers(one.toObject());
    }
    if (schema.contains("$ref")) {
        names += KnownMembers(Resolve(schema.value("$ref").toString()));
    }
    return names;
}
