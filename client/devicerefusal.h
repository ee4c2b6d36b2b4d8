#ifndef DEVICEREFUSAL_H
#define DEVICEREFUSAL_H

#include "clienterror.h"

/**
 * The device's own answer that it does not do it: its error object. It has read the request and
 * judged it, which a busy device or a server of another kind has not; those are a plain
 * `ClientError` of the same status.
 */
class DeviceRefusal : public ClientError
{
public:
    explicit DeviceRefusal(const QString &reason);
};

#endif // DEVICEREFUSAL_H
