#ifndef DOWNLOADGUARD_H
#define DOWNLOADGUARD_H

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>
#include <hostmodel.h>

class RestServerGuard;

/**
 * Completes downloads that the library gave up.
 *
 * The library stops to read a file when its client has not taken a piece of 5,000,000 bytes within
 * 10 s. The thread that serves the client then waits for the rest without limit, every other client
 * is turned away, and the server cannot be stopped. This guard stands between the library and the
 * application's file manager model, notices that a download ended early, and sends the rest from a
 * timer, one piece whenever the one before it was taken, while the event loop goes on:
 *
 *     RestServerGuard serverGuard(&server);
 *     DownloadGuard downloadGuard(&fileManagerModel, &serverGuard);
 *     // applicationModel.FileManagerModel() returns &downloadGuard
 *     // applicationModel.RestServer() returns &serverGuard
 *
 * What that gives: a client that reads slowly gets its whole file; a client that is gone makes the
 * rest of its file run through in moments; the next client is served right after that. While a slow
 * client reads, the others are still turned away with status 408: one request is served at a time.
 * A file that changes during its download is sent as it is found.
 *
 * What it does not do: when a client takes not a single byte for 10 s the embedded server drops the
 * rest of that piece. Such a client sees a broken transfer and has to ask again, and while it stays
 * connected without reading, each further piece of its file takes another 10 s.
 *
 * Only calls of the library may come through this object; code of the application that reads files
 * for itself calls its own model. Main thread only. It owns neither of the objects it was given;
 * both must outlive it.
 */
class DownloadGuard : public QObject, public IFileManagerModel
{
    Q_OBJECT

public:
    /** How long the library waits until a piece was taken. */
    static constexpr int defaultHandOverWaitMs = 10000;

    /**
     * Reads files through `fileManagerModel` and looks after the downloads of the server that
     * `serverGuard` guards. `handOverWaitMs` is another wait only for tests.
     */
    DownloadGuard(IFileManagerModel *fileManagerModel, RestServerGuard *serverGuard,
                  int handOverWaitMs = defaultHandOverWaitMs);

    QJsonObject GetUserFiles() override;
    QByteArray ReadFileChunk(QString path, bool *ok, qint64 offset, qint64 maxLength,
                             bool *lastChunk) override;
    bool DeleteUserFile(QString path) override;

    /** Whether the rest of a given-up download is being sent. */
    bool Sending() const { return abandoned; }

private:
    void Watch(const QString &path, qint64 offset, qint64 maxLength, bool lastChunk);
    void Forget();
    void CheckDownload();
    void SendNextPiece();
    void RemoveStalePiece();

    IFileManagerModel *files;
    RestServerGuard *server;
    int handOverWait;
    QTimer timer; // runs from the first piece of a download until its last is queued

    // The piece that the library read last, or the next one to send.
    QString piecePath;
    qint64 pieceOffset = 0;
    qint64 pieceLength = 0;
    bool pieceIsLast = true;
    QElapsedTimer sinceRead;

    bool abandoned = false;
    bool stalePossible = false; // a last piece may have been queued twice
};

#endif
