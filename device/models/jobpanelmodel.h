#ifndef JOBPANELMODEL_H
#define JOBPANELMODEL_H

#include <cstdio>

#include "hostmodel.h"

/** A job panel that can be seen in the terminal: it prints a line whenever it is opened or closed.
 */
class JobPanelModel : public IJobPanelModel
{
public:
    /** Prints to `output`, which outlives this object. */
    explicit JobPanelModel(std::FILE *output);

    /** Prints "view: job panel opened" or "view: job panel closed", also when it already was. */
    void SetJobPanelOpen(bool open) override;

private:
    std::FILE *stream;
};

#endif
