#include <opencv2/core.hpp>

#include "benchmarks.hpp"
#include "datasets.hpp"
#include "peers.hpp"
#include "registry.hpp"

namespace bench {
namespace {

// Registers the peer `what` over the surveys of edge n; run(peer, surveys)
// does one pass.
template <class Peer, class Run>
std::string peer(std::string const& what, std::uint64_t n, int threads, unsigned bytes, Run run) {
    auto const name = "Peer/" + what + "/size:" + std::to_string(n) + "/threads:" + std::to_string(threads);
    addOnce(name, [n, threads, bytes, run](benchmark::State& state) {
        int const before = cv::getNumThreads();
        cv::setNumThreads(threads);
        auto const& pair = surveys(n);
        Peer instance;
        for (auto _ : state) {
            run(instance, pair);
            benchmark::ClobberMemory();
        }
        cv::setNumThreads(before);
        countCells(state, n * n, threads, bytes);
    });
    return name;
}

} // namespace

std::string scharrPeer(std::uint64_t n, int threads) {
    return peer<ScharrMagnitude>("Scharr+magnitude", n, threads, traffic::SMOOTHING,
                                 [](ScharrMagnitude& p, SurveyPair const& s) { p(heightImage(s.later)); });
}

std::string gaussianPeer(std::uint64_t n, int threads) {
    return peer<GaussianFilter2D>("filter2D", n, threads, traffic::SMOOTHING,
                                  [](GaussianFilter2D& p, SurveyPair const& s) { p(heightImage(s.later)); });
}

std::string bilateralPeer(std::uint64_t n, int threads) {
    return peer<Bilateral>("bilateralFilter", n, threads, traffic::SMOOTHING,
                           [](Bilateral& p, SurveyPair const& s) { p(heightImage(s.later)); });
}

std::string wideBilateralPeer(std::uint64_t n, int threads) {
    return peer<WideBilateral>("bilateralFilter d=" + std::to_string(WIDE_WINDOW), n, threads, traffic::SMOOTHING,
                               [](WideBilateral& p, SurveyPair const& s) { p(heightImage(s.later)); });
}

std::string maskPeer(std::uint64_t n, int threads) {
    return peer<DataMask>("inRange+convertTo", n, threads, traffic::MASK,
                          [](DataMask& p, SurveyPair const& s) { p(codeImage(s.later)); });
}

std::string differencePeer(std::uint64_t n, int threads) {
    return peer<Difference>("subtract+inRange+setTo", n, threads, traffic::DIFFERENCE,
                            [](Difference& p, SurveyPair const& s) {
                                p(heightImage(s.later), heightImage(s.earlier), codeImage(s.later),
                                  codeImage(s.earlier));
                            });
}

} // namespace bench
