#ifndef ACTIVITY_H
#define ACTIVITY_H

#include <QMap>
#include <QTimer>
#include <chrono>
#include <random>

#include "devicemodels.h"

/**
 * Lets the device measure while a work order is active: a new result file appears in "results"
 * below the user files, and the next of the work order's tests gets its result. What is measured
 * follows from the seed and from the order of the measurements alone.
 *
 * Main thread only, which needs an event loop.
 */
class Activity
{
public:
    /** Keeps the references; all objects outlive this one. */
    Activity(DeviceModels &deviceModels, FileSystem &files, IErrorReporter &errors, quint32 seed);

    /** Measures from now on, with this interval in between. */
    void Begin(std::chrono::milliseconds interval) { timer.start(interval); }

    /** Measures no more by itself. */
    void End() { timer.stop(); }

    /** Whether it measures by itself. */
    bool IsRunning() const { return timer.isActive(); }

    /** One measurement, where a work order is active and there is room. */
    void Measure();

private:
    QString NextPath(const QString &id);
    QByteArray Readings();
    void FillIn(const QString &id, const QString &file);
    quint32 Random(quint32 least, quint32 most);

    DeviceModels &models;
    FileSystem &fileSystem;
    IErrorReporter &errorReporter;
    std::mt19937 random;
    QMap<QString, int> numbers; // of the last result file, by work order
    QTimer timer;
};

#endif
