#include "filelister.h"

FileLister::FileLister(const QString &folder, QObject *parent)
    : QObject(parent)
    , directory(folder)
{
    threads.setMaxThreadCount(1);
    threads.setExpiryTimeout(-1);
}

FileLister::~FileLister()
{
    threads.waitForDone();
}

void FileLister::Ask()
{
    if (isUnderWay) {
        return;
    }
    isUnderWay = true;
    threads.start([this] {
        const QVector<UserFile> files = directory.Files();
        QMetaObject::invokeMethod(
            this, [this, files] { Deliver(files); }, Qt::QueuedConnection);
    });
}

void FileLister::Deliver(const QVector<UserFile> &files)
{
    isUnderWay = false;
    emit Listed(files);
}
