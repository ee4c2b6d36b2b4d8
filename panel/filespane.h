#ifndef FILESPANE_H
#define FILESPANE_H

#include <QWidget>

class Panel;

/** The user files, and below them the transfers that are under way. */
class FilesPane : public QWidget
{
    Q_OBJECT

public:
    /** The panel outlives this object. */
    explicit FilesPane(Panel &panel, QWidget *parent = nullptr);
};

#endif
