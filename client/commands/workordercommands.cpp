#include "workordercommands.h"

#include <CLI/CLI.hpp>
#include <QHash>
#include <QJsonArray>

#include "clienterror.h"
#include "progressdisplay.h"
#include "routes.h"
#include "workorders.h"
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

WorkOrdersListCommand::WorkOrdersListCommand()
    : Command("list", "List the work orders with the time of their last change")
{}

ExitStatus WorkOrdersListCommand::Run(DeviceConnection &connection, const Output &output)
{
    const QJsonDocument document = connection.Get(Routes::workOrderList);
    const QJsonValue orders = document.object().value("workOrderInfo");
    if (!orders.isArray()) {
        throw ClientError(ExitStatus::TransferCorrupt,
                          QStringLiteral("the answer is no list of work orders"));
    }
    const QJsonArray array = orders.toArray();
    for (const QJsonValue &order : array) {
        output.Line(order.toObject().value("modifiedTime").toString() + "  " +
                    order.toObject().value("workOrderId").toString());
    }
    output.Json(document);
    return ExitStatus::Done;
}

WorkOrdersGetCommand::WorkOrdersGetCommand()
    : Command("get", "Print one work order, without the images of its tests")
{}

void WorkOrdersGetCommand::AddArguments(CLI::App &parser)
{
    parser.add_option("ID", id, "The work order's id")->required();
}

ExitStatus WorkOrdersGetCommand::Run(DeviceConnection &connection, const Output &output)
{
    const QJsonObject answer = WorkOrders(connection).Get(QString::fromStdString(id));
    output.Document(QJsonDocument(answer));
    return ExitStatus::Done;
}

WorkOrdersPutCommand::WorkOrdersPutCommand()
    : Command("put", "Send the work orders of JSON files and verify them")
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
    const QVector<WorkOrderElement> elements = ReadAll(files);
    const auto moved = [&](int done) {
        if (output.ShowsStatus()) {
            output.Status(ProgressDisplay::DescribeJob(done, elements.size(), -1) + " work orders");
        }
    };
    const auto whenFailed = [&](const WorkOrderElement &element, const ClientError &error) {
        output.Error(element.Name() + ": " + error.Message());
        failures.append(QJsonObject{{"file", element.file},
                                    {"element", element.position},
                                    {"workOrderId", WorkOrders::IdOf(element.document)},
                                    {"error", error.Message()}});
        status = status == ExitStatus::Done ? error.Status() : status;
    };
    WorkOrderUpload upload(orders, whenFailed, moved);
    const int stored = upload.Send(elements);
    output.ClearStatus();
    output.Line(QString("%1 stored and verified, %2 failed").arg(stored).arg(failures.size()));
    output.Json(QJsonDocument(QJsonObject{{"stored", stored}, {"failed", failures}}));
    return status;
}

WorkOrdersActiveCommand::WorkOrdersActiveCommand()
    : Command("active", "Print the work order that the device works on, or set it")
{}

void WorkOrdersActiveCommand::AddArguments(CLI::App &parser)
{
    idOption = parser.add_option("ID", id, "Make this work order the active one");
}

ExitStatus WorkOrdersActiveCommand::Run(DeviceConnection &connection, const Output &output)
{
    WorkOrders orders(connection);
    if (idOption->count() > 0) {
        orders.SetActive(QString::fromStdString(id));
    }
    const QString active = orders.Active();
    output.Line(active.isEmpty() ? QStringLiteral("no work order is active") : active);
    output.Json(QJsonDocument(QJsonObject{{"activeWorkOrderId", active}}));
    return ExitStatus::Done;
}
