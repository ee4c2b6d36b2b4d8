#ifndef FAULTYFILESYSTEM_H
#define FAULTYFILESYSTEM_H

#include "faultplan.h"
#include "filesystem.h"

/**
 * The stores' file system, whose disk is full once the bytes that the plan allows are written.
 * A change of the plan counts anew. Of a device that goes with the process nothing is flushed,
 * which would wait for whatever else the machine writes.
 */
class FaultyFileSystem : public FileSystem
{
public:
    enum class Lifetime
    {
        Lasting,
        OfTheProcess
    };

    /** Keeps the reference; the plan outlives this object. */
    explicit FaultyFileSystem(FaultPlan &faultPlan, Lifetime lifetime = Lifetime::Lasting);

    /** Writes as much as still fits; -1 with ENOSPC when that is nothing. */
    ssize_t Write(int descriptor, const char *data, std::size_t size) override;

    int Flush(int descriptor) override;
    int FlushFolder(const QString &path) override;
    int FlushFileSystem(const QString &folder) override;

private:
    const bool flushes;
    FaultPlan &faults;
    int revision = 0; // of the plan, when counting began
    qint64 written = 0;
};

#endif
