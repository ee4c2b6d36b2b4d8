#include <QCoreApplication>
#include <QTextCodec>

#include "interruption.h"
#include "program.h"

int main(int argumentCount, char **arguments)
{
    QCoreApplication application(argumentCount, arguments);
    // The names of files are UTF-8 on the device, and here too in whatever locale we are started:
    // the C locale would turn every letter outside of ASCII into a question mark.
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));
    Interruption::Watch();
    return Program().Run(argumentCount, arguments);
}
