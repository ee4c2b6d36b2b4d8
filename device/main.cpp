#include <QCoreApplication>

#include "deviceapplication.h"
#include "deviceprogram.h"

int main(int argc, char **argv)
{
    DeviceProgram program(QStringLiteral("parlowen-device"),
                          QStringLiteral(PARLOWEN_DEVICE_VERSION));
    const QCoreApplication application(argc, argv);
    if (!program.Prepare(QCoreApplication::arguments())) {
        return program.Status();
    }
    DeviceApplication device(program.Options(), stdout);
    return program.Serve(device, [] { return QCoreApplication::exec(); });
}
