#ifndef OBSERVATION_H
#define OBSERVATION_H

#include <QByteArray>
#include <chrono>
#include <deque>
#include <memory>
#include <mutex>

#include "modelcalls.h"
#include "requestobserver.h"
#include "restserverobjects.h"

struct mg_request_info;

/**
 * Carries what HTTP threads note of requests to the observer, on the thread of the model. At most
 * 10,000 records wait; what comes on top is lost, and the number is logged.
 */
class Observation : public std::enable_shared_from_this<Observation>
{
public:
    Observation(IRequestObserver *observer, std::shared_ptr<ModelCalls> calls);

    void Served(const RequestRecord &record);
    void Moved(const TransferProgress &progress);

    /**
     * Tells what was noted until now, unless the observer is being told something at the moment,
     * and stops. For when nobody notes any more. On the thread of the model.
     */
    void TellRest();

    /** The observer is not called again. On the thread of the model. */
    void Stop();

private:
    struct Note
    {
        bool isProgress;
        RequestRecord record;
        TransferProgress progress;
    };

    void Add(Note note);
    void Deliver();

    IRequestObserver *observer; // thread of the model; null once stopped
    bool telling = false;       // thread of the model
    std::shared_ptr<ModelCalls> calls;
    std::mutex mutex;
    std::deque<Note> notes;  // guarded by mutex
    qint64 lost = 0;         // guarded by mutex
    bool delivering = false; // guarded by mutex: a call is on its way
};

/** Tells how far a transfer has come, at most four times a second. One HTTP thread. */
class TransferReport
{
public:
    /** A null observation is told nothing. `total` is -1 when it is not known. */
    TransferReport(Observation *observation, const RequestRecord &record, bool upload,
                   qint64 total);

    void Moved(qint64 bytes);

private:
    Observation *observation;
    TransferProgress progress;
    std::chrono::steady_clock::time_point nextReport;
};

/** What is known of a request when it comes to its route. */
RequestRecord BeginRecord(const mg_request_info &information);

/** Adds what a whole answer tells: the status on the wire, its text, and the error in it. */
void NoteAnswer(const RestServerResponseObject &response, RequestRecord *record);

/** Adds an error that has no response. */
void NoteError(int status, const QByteArray &text, RequestRecord *record);

/** Adds how long the request took. */
void EndRecord(std::chrono::steady_clock::time_point begun, RequestRecord *record);

#endif
