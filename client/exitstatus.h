#ifndef EXITSTATUS_H
#define EXITSTATUS_H

/** What the program tells its caller. The values are part of the interface and never change. */
enum class ExitStatus
{
    Done = 0,            ///< the device really did it
    LocalFailure = 1,    ///< a local file cannot be read or written, or is no valid input
    Usage = 2,           ///< the command line is wrong
    CannotConnect = 3,   ///< no answer from the device
    DeviceRefused = 4,   ///< the device answered that it does not do it, or that it is busy
    TransferCorrupt = 5, ///< a transfer broke off, or what arrived is not what was sent
};

#endif // EXITSTATUS_H
