#include "errorreporter.h"

#include "outputline.h"

ErrorReporter::ErrorReporter(std::FILE *output)
    : stream(output)
{}

void ErrorReporter::ReportError(QString message, const char *sourceFile, int line)
{
    ++count;
    PrintLogLine(stream, "error",
                 QStringLiteral("%1 (%2:%3)")
                     .arg(message, QLatin1String(sourceFile), QString::number(line)));
}
