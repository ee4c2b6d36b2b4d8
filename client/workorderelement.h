#ifndef WORKORDERELEMENT_H
#define WORKORDERELEMENT_H

#include <QJsonObject>
#include <QString>
#include <QVector>

/** One work order of a file that is to be sent. */
struct WorkOrderElement
{
    QString file;
    int position = 0; ///< within the file, counted from 1
    QJsonObject document;

    /** "orders.json, element 3 (id X)". */
    QString Name() const;

    /**
     * The work orders of a file: an object with the array "cdm", an object with one work order
     * under "cdm" (as the device sends it), an array of work orders, or one work order. Throws a
     * `ClientError` of status `LocalFailure` when the file cannot be read or holds something else,
     * which names the element.
     */
    static QVector<WorkOrderElement> FromFile(const QString &file);
};

#endif // WORKORDERELEMENT_H
