#ifndef SAMPLECONTENT_H
#define SAMPLECONTENT_H

#include "devicefolder.h"
#include "filesystem.h"

/**
 * What a new simulated device holds, the same every time: the description of the device, a dozen
 * work orders with tests and images, templates on both storages and some user files, one of them
 * larger than two pieces of a download and one with a name that needs encoding.
 *
 * Usual order of calls, in a folder that exists and that nobody else changes: `IsDue`; when true
 * `Begin`, then the sub-folders are made, then `Write`. A start that ends in between, whatever the
 * reason, leaves a mark, and the next one makes what is missing.
 */
class SampleContent
{
public:
    /** How much of it. */
    enum class Extent
    {
        Whole,
        Description ///< what the device says about itself, and nothing else
    };

    /** The bytes of the large user file. */
    static constexpr int largeFileSize = 12345678;

    /** Whether the folder is unused, or was when a start began that did not come to its end. */
    static bool IsDue(const DeviceFolder &folder);

    /** Marks the folder; true once that is on the disk. On failure `*error` names the file. */
    static bool Begin(FileSystem &fileSystem, const DeviceFolder &folder, QString *error);

    /**
     * Writes what is missing of it and takes the mark away; the sub-folders exist. What is there
     * stays as it is. True once all is on the disk; on failure `*error` names the file.
     */
    static bool Write(FileSystem &fileSystem, const DeviceFolder &folder, Extent extent,
                      QString *error);
};

#endif
