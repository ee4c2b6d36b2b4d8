#ifndef RESTSERVERFILEDOWNLOADCONTEXT_H
#define RESTSERVERFILEDOWNLOADCONTEXT_H

#include <QString>
#include <memory>

#include "hostmodel.h"
#include "restserverobjects.h"

/**
 * The rest of a download: reads a file piece by piece and queues each piece as a chunk once the one
 * before it was taken, so that about two pieces are in memory at a time.
 *
 * Main thread only. Owned by the response that carries it, or taken out of it. The HTTP thread may
 * delete both as soon as it has the last chunk, so nothing of this object is touched after that
 * chunk was queued.
 */
class RestServerFileDownloadContext : public IDownloadContext, public IConstructable
{
public:
    /** Bytes in each piece but the last. */
    static constexpr int pieceSize = 5000000;

    /** `firstOffset` is the position in the file of the first piece to send. */
    RestServerFileDownloadContext(QString filePath, int firstOffset);
    ~RestServerFileDownloadContext() override;

    /** Queues the pieces up to the last; gives up when one was not taken within 10 s. */
    void SendExtraDownloadContent() override;

    /** Where the first piece that this context sends begins. */
    int FirstOffset() const { return offset; }

    /**
     * Reads the piece at `position`. Whether the host could read it is not asked, as everywhere
     * behind the first piece. `*lastChunk` is true before the first call and kept between calls.
     */
    std::unique_ptr<DataChunk> ReadPiece(qint64 position, bool *lastChunk) const;

    void Construct(IApplicationModel *model) override;
    void Shutdown() override;

private:
    QString path;
    int offset;
    IApplicationModel *applicationModel; // null until Construct
};

#endif
