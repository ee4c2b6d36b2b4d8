#include "workordersputcommand.h"

#include <CLI/CLI.hpp>
#include <QHash>

#include "workorderupload.h"

namespace {

// All files are read before anything is sent, so that a mistake in one of them changes nothing.
QVector<WorkOrderElement> ReadAll(const std::vector<std::string> &files)
{
    QVector<WorkOrderElement> elements;
    QHash<QString, QString> namesById;
    for (const std::string &file : files) {
        const QVector<WorkOrderElement> added =
            WorkOrderElement::FromFile(QString::fromStdString(file));
        for (const WorkOrderElement &element : added) {
            const QString id = WorkOrders::IdOf(element.document);
            if (namesById.contains(id)) {
                throw ClientError(
                    ExitStatus::LocalFailure,
                    QString("%1 has the id of %2").arg(element.Name(), namesById.value(id)));
            }
            namesById.insert(id, element.Name());
        }
        elements += added;
    }
    return elements;
}

} // namespace

WorkOrdersPutCommand::WorkOrdersPutCommand()
    : Command("put", "Send the work orders of JSON files and read them back")
{}

void WorkOrdersPutCommand::AddArguments(CLI::App &parser)
{
    parser.add_option("FILE", files, "JSON files with one work order or many")->required();
}

ExitStatus WorkOrdersPutCommand::Run(DeviceConnection &connection, const Output &output)
{
    WorkOrders orders(connection);
    ExitStatus status = ExitStatus::Done;
    QJsonArray failures;
    WorkOrderUpload upload(orders, [&](const WorkOrderElement &element, const ClientError &error) {
        output.Error(element.Name() + ": " + error.Message());
        failures.append(QJsonObject{{"file", element.file},
                                    {"element", element.position},
                                    {"workOrderId", WorkOrders::IdOf(element.document)},
                                    {"error", error.Message()}});
        status = status == ExitStatus::Done ? error.Status() : status;
    });
    const int stored = upload.Send(ReadAll(files));
    output.Line(QString("%1 stored and verified, %2 failed").arg(stored).arg(failures.size()));
    output.Json(QJsonDocument(QJsonObject{{"stored", stored}, {"failed", failures}}));
    return status;
}
