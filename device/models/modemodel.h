#ifndef MODEMODEL_H
#define MODEMODEL_H

#include "hostmodel.h"

/** The operating mode, the same for a whole run. */
class ModeModel : public IModeModel
{
public:
    explicit ModeModel(int mode);

    int CurrentMode() override;

private:
    int currentMode;
};

#endif
