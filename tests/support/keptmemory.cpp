// Memory that is kept on purpose, linked into sanitized programs: the simulator, confined as it is,
// could not read a file of suppressions. Each entry names the function that allocates it.

extern "C" const char *__lsan_default_suppressions();
extern "C" const char *__lsan_default_options();

extern "C" const char *__lsan_default_suppressions()
{
    return
        // A read buffer stays allocated after its bytes were copied; its pages are given back.
        //   malloc < AllocateReadBuffer < ReadChunk < HandOverRequest
        //   < HandleRequestAndSendResponse
        "leak:AllocateReadBuffer\n"

        // The processor, the queues and the mutex live until the process ends; tests make several
        // servers.
        //   operator new < RestServerModel::RestServerModel
        "leak:RestServerModel::RestServerModel\n"

        // The file processor and its upload handler live as long.
        //   operator new < RestServerRequestProcessor::Construct < RestServerModel::Construct
        //   operator new < RestServerFileProcessor::Construct
        //   < RestServerRequestProcessor::Construct
        "leak:RestServerRequestProcessor::Construct\n"
        "leak:RestServerFileProcessor::Construct\n"

        // A further file part of an upload takes the place of the file object before it, which
        // stays.
        //   operator new < RestServerFileCallbackHandler::OpenFile < NotifyPartStart
        "leak:RestServerFileCallbackHandler::OpenFile\n"

        // What Qt asks a display for the panel's window with, kept by that library.
        //   realloc < libdbus
        "leak:libdbus-1\n";
}

// What the simulator prints is compared.
extern "C" const char *__lsan_default_options()
{
    return "print_suppressions=0";
}
