#ifndef SAMPLECONTENT_H
#define SAMPLECONTENT_H

#include "devicefolder.h"
#include "filesystem.h"

/**
 * What a new simulated device holds, the same every time: the description of the device, a dozen
 * work orders with tests and images, templates on both storages and some user files, one of them
 * larger than two pieces of a download and one with a name that needs encoding.
 */
class SampleContent
{
public:
    /** The bytes of the large user file. */
    static constexpr int largeFileSize = 12345678;

    /**
     * Writes all of it into a folder whose sub-folders exist and are empty; true once it is on the
     * disk. On failure `*error` names the file.
     */
    static bool Write(FileSystem &fileSystem, const DeviceFolder &folder, QString *error);
};

#endif
