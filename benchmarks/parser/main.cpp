// Multipart parsing in memory: every contender on every workload, as "workload/contender".

#include <benchmark/benchmark.h>
#include <map>

#include "contender.h"

namespace {

// One workload is in memory at a time: they are large, and are measured one after the other.
const Workload &WorkloadNamed(const std::string &name)
{
    static Workload current;
    if (current.name != name) {
        current = Workload();
        current = MakeWorkload(name);
    }
    return current;
}

const Run &PreparedRun(const std::string &workloadName, const Contender &contender)
{
    static std::string preparedFor;
    static std::map<std::string, Run> runs;
    if (preparedFor != workloadName) {
        runs.clear();
        preparedFor = workloadName;
    }
    Run &run = runs[contender.name];
    if (!run) {
        run = contender.prepare(WorkloadNamed(workloadName));
    }
    return run;
}

void Measure(benchmark::State &state, const std::string &workloadName, const Contender &contender)
{
    const Workload &workload = WorkloadNamed(workloadName);
    const Run &run = PreparedRun(workloadName, contender);
    for (auto step : state) {
        (void)step;
        Sink sink;
        run(&sink);
        if (sink.Received() != workload.partSize) {
            state.SkipWithError("the part was not received as it is");
            return;
        }
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * workload.partSize));
}

} // namespace

int main(int argc, char **argv)
{
    std::vector<Contender> contenders = OwnContenders();
    for (const Contender &peer : PeerContenders()) {
        contenders.push_back(peer);
    }
    for (const std::string workloadName : workloadNames) {
        for (const Contender &contender : contenders) {
            benchmark::RegisterBenchmark((workloadName + "/" + contender.name).c_str(),
                                         [workloadName, contender](benchmark::State &state) {
                                             Measure(state, workloadName, contender);
                                         })
                ->Unit(benchmark::kMillisecond);
        }
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
