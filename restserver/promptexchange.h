#ifndef PROMPTEXCHANGE_H
#define PROMPTEXCHANGE_H

#include <chrono>
#include <memory>

#include "answermemory.h"
#include "bodymemory.h"
#include "connectionwatch.h"
#include "modelcalls.h"
#include "observation.h"
#include "prompthandlers.h"
#include "prompthost.h"
#include "requestbody.h"

/** What all exchanges of one run of the server share. */
struct PromptServices
{
    QList<QByteArray> allowedOrigins;
    std::shared_ptr<ModelCalls> calls;
    std::shared_ptr<PromptHost> host;         // thread of the model only
    std::shared_ptr<PromptHandlers> handlers; // thread of the model only
    std::shared_ptr<BodyMemory> memory;
    std::shared_ptr<AnswerMemory> answers;
    std::shared_ptr<Observation> observation; // null when nobody observes
    ConnectionWatch *watch;
};

/** One request on its HTTP thread, from the head that was read to the answer's last byte. */
class PromptExchange
{
public:
    PromptExchange(const PromptServices &services, mg_connection *conn, RestServerRequestUri uri);

    /** Answers the request. Returns the status that was meant for it. */
    int Run();

private:
    // A request and its answer, as they go to the thread of the model and come back.
    struct Question
    {
        explicit Question(std::shared_ptr<AnswerMemory> answers)
            : answer(std::move(answers))
        {}

        std::unique_ptr<RestServerRequestObject> request;
        std::shared_ptr<const void> body; // the memory that the request's chunk refers to
        std::unique_ptr<RestServerResponseObject> response;
        AnswerMemory::Share answer;
        QStringList reports;
    };

    int Answer();
    bool IsForeignPage() const;
    bool AsksForLeave() const;
    int GrantLeave();
    bool IsUpload() const;
    bool IsParsed() const;
    bool MayHaveLargeAnswer() const;
    qint64 EchoOf(const RequestBody &body) const;
    int AnswerByHandlers(RequestBody *body);
    int AnswerUpload(RequestBody *body);
    std::unique_ptr<RestServerRequestObject> MakeRequest(const RequestBody &body) const;
    int Send(std::unique_ptr<RestServerResponseObject> response);
    void SendDownload(std::unique_ptr<RestServerResponseObject> response);
    int SendFailure(ModelCalls::Outcome outcome);
    int SendTimeout();
    int SendError(int status, const char *text);
    const char *Header(const char *name) const;

    const PromptServices &services;
    mg_connection *connection;
    const mg_request_info &information;
    RestServerRequestUri route;
    RestServerRequestMethod method;
    std::chrono::steady_clock::time_point begun;
    RequestRecord record;
    qint64 echo = 0; // bytes of the request's body as it comes back, indented
};

#endif
