#ifndef GUARDEDSERVER_H
#define GUARDEDSERVER_H

#include <QEventLoop>
#include <downloadguard.h>
#include <functional>
#include <gtest/gtest.h>
#include <rawclient.h>
#include <restserverguard.h>
#include <restservermodel.h>
#include <wirehost.h>

/** A host whose file manager can be replaced by one with a guard. */
class GuardedHost : public WireHost
{
public:
    IFileManagerModel *fileManager = this;

    IFileManagerModel *FileManagerModel() override { return fileManager; }
};

/**
 * The real server on port 8081 behind both guards. The client of a test runs in a thread of its own
 * while the event loop serves.
 */
class GuardedServerTest : public testing::Test
{
protected:
    void SetUp() override;
    void TearDown() override;

    /** Runs `client` in a thread of its own, and the event loop until it is done. */
    void RunClient(const std::function<void()> &client);

    /** For the client: returns when the event loop has turned, also when that takes long. */
    void AwaitTurn();

    /** For the client: another client gets its answer within a second. */
    static void ExpectNextAnswerSoon();

    /** Makes a file of random bytes and returns its path. */
    QString MakeFile(const QString &name, int size);

    std::string fileBytes; // of the file made last
    GuardedHost host;
    RestServerModel *server = TheServer();
    RestServerGuard serverGuard{server};
    DownloadGuard downloadGuard{&host, &serverGuard};

private:
    static RestServerModel *TheServer();

    QEventLoop loop;
};

#endif
