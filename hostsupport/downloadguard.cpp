#include "downloadguard.h"

#include <QDebug>
#include <memory>

#include "restserverguard.h"

namespace {
constexpr int checkIntervalMs = 10;
}

DownloadGuard::DownloadGuard(IFileManagerModel *fileManagerModel, RestServerGuard *serverGuard,
                             int handOverWaitMs)
    : files(fileManagerModel)
    , server(serverGuard)
    , handOverWait(handOverWaitMs)
{
    connect(&timer, &QTimer::timeout, this, &DownloadGuard::CheckDownload);
    connect(server, &RestServerGuard::Stopped, this, &DownloadGuard::Forget);
}

QJsonObject DownloadGuard::GetUserFiles()
{
    Forget();
    return files->GetUserFiles();
}

bool DownloadGuard::DeleteUserFile(QString path)
{
    Forget();
    return files->DeleteUserFile(path);
}

QByteArray DownloadGuard::ReadFileChunk(QString path, bool *ok, qint64 offset, qint64 maxLength,
                                        bool *lastChunk)
{
    const bool firstPiece = offset == 0;
    if (firstPiece) {
        Forget();
        RemoveStalePiece();
    } else {
        server->NoteAnswer();
    }
    QByteArray bytes = files->ReadFileChunk(path, ok, offset, maxLength, lastChunk);
    if (firstPiece && server->AnswerWouldBeLate()) {
        *ok = false; // its client is gone: nobody would take the pieces
    }
    const bool streamed = !firstPiece || (*ok && !bytes.isEmpty() && !*lastChunk);
    if (streamed) {
        Watch(path, offset, maxLength, *lastChunk);
    }
    return bytes;
}

void DownloadGuard::Watch(const QString &path, qint64 offset, qint64 maxLength, bool lastChunk)
{
    piecePath = path;
    pieceOffset = offset;
    pieceLength = maxLength;
    pieceIsLast = lastChunk;
    sinceRead.start();
    timer.start(checkIntervalMs);
}

void DownloadGuard::Forget()
{
    timer.stop();
    abandoned = false;
    server->SetStreaming(false);
}

// The library reads and queues a whole download in one turn of the event loop. When the timer comes
// before the last piece was read, or long enough after it, that piece was not queued.
void DownloadGuard::CheckDownload()
{
    if (!abandoned) {
        if (pieceIsLast && sinceRead.elapsed() < handOverWait) {
            Forget();
            return;
        }
        qDebug() << "Download given up at" << pieceOffset << "goes on for its slow client";
        abandoned = true;
        stalePossible = pieceIsLast;
        server->SetStreaming(true);
    }
    if (server->Server()->ResponseChunkQueue()->size() == 0) {
        SendNextPiece();
    }
}

void DownloadGuard::SendNextPiece()
{
    bool ok = false;
    bool last = true;
    const QByteArray bytes = files->ReadFileChunk(piecePath, &ok, pieceOffset, pieceLength, &last);
    last = last || bytes.isEmpty(); // an empty piece would end the transfer coding
    server->Server()->ResponseChunkQueue()->push_back(new DataChunk(bytes, last));
    pieceOffset += pieceLength;
    if (last) {
        Forget();
    }
}

// A last piece that had been queued after all stays behind when it is queued again. No thread takes
// pieces before the first one of this download was read.
void DownloadGuard::RemoveStalePiece()
{
    SharedQueue<DataChunk *> *queue = server->Server()->ResponseChunkQueue();
    if (stalePossible && queue->size() > 0) {
        const std::unique_ptr<DataChunk> piece(queue->front());
        queue->pop_front();
    }
    stalePossible = false;
}
