#include "modemodel.h"

ModeModel::ModeModel(int mode)
    : currentMode(mode)
{}

int ModeModel::CurrentMode()
{
    return currentMode;
}
