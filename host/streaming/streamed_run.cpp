#include "streaming/streamed_run.hpp"

#include <sys/resource.h>

#include <algorithm>
#include <atomic>
#include <fstream>
#include <limits>
#include <mutex>

#include "core/errors.hpp"

namespace rastrum_host {
namespace {

std::string megabytes(std::uint64_t bytes) { return std::to_string((bytes + (1u << 20) - 1) >> 20) + " MB"; }

// A field of /proc/self/status or /proc/meminfo, in bytes; 0 when absent.
std::uint64_t kilobytesField(char const* file, std::string const& name) {
    std::ifstream in(file);
    std::string key;
    std::uint64_t value = 0;
    while (in >> key) {
        if (key == name && in >> value) {
            return value * 1024;
        }
        in.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
    }
    return 0;
}

} // namespace

std::uint64_t availableMemory() {
    std::uint64_t available = kilobytesField("/proc/meminfo", "MemAvailable:");
    if (available == 0) {
        available = std::numeric_limits<std::uint64_t>::max();
    }
    rlimit limit{};
    if (getrlimit(RLIMIT_AS, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY) {
        auto const used = kilobytesField("/proc/self/status", "VmSize:");
        available = std::min<std::uint64_t>(available, limit.rlim_cur > used ? limit.rlim_cur - used : 0);
    }
    return available;
}

std::vector<Band> planStream(StreamShape const& shape, Tiling const& tiling, StreamSettings const& settings,
                             std::string const& source) {
    auto const size = tiling.fragmentSize;
    auto const overlap = tiling.overlap.value_or(shape.overlap);
    auto const step = size > overlap ? size - overlap : 1;
    std::uint64_t const rowBytes = std::uint64_t{shape.width} * std::max<std::uint64_t>(shape.cellBytes, 1);
    // Never more than four fifths of what is available, the rest for GDAL and the output.
    auto const available = availableMemory();
    std::uint64_t const budgetRows = std::min(settings.memoryBytes, available / 5 * 4) / rowBytes;
    std::uint64_t const perBand = budgetRows > size ? 1 + (budgetRows - size) / step : 1;
    // The smallest band: one fragment row, or the raster when it is lower.
    std::uint64_t const smallest = rowBytes * std::min<std::uint64_t>(size, shape.height);
    if (smallest > available) {
        throw InputError(source + ": " + std::to_string(shape.width) + " x " + std::to_string(shape.height) +
                         " cells need about " + megabytes(smallest) + " of memory for one row of fragments of " +
                         std::to_string(size) + " points, but only " + megabytes(available) +
                         " are available; try a smaller --fragment-size");
    }
    return planBands(shape.width, shape.height, shape.northUp, size, overlap, perBand);
}

// Forwards the library's per-fragment reports, and the host's reading and
// writing, as one count over the whole run.
class BandProgress::Counter : public Lumen::LoaderProgress {
public:
    Counter(Lumen::StrongPtr<Lumen::LoaderProgress> target, std::string label, std::uint64_t total)
        : target_(std::move(target)), label_(std::move(label)), total_(static_cast<std::uint32_t>(total)) {}

    void report(std::string const&, std::uint32_t, std::uint32_t) override {
        ++reported_;
        unit();
    }
    void unit() {
        std::lock_guard const lock(mutex_);
        auto const current = done_++;
        if (target_) {
            target_->report(label_, static_cast<std::uint32_t>(current), total_);
        }
    }
    // The library's reports since the last call.
    std::uint64_t takeReported() { return reported_.exchange(0); }

private:
    Lumen::StrongPtr<Lumen::LoaderProgress> target_;
    std::string label_;
    std::uint32_t total_;
    std::mutex mutex_;
    std::uint64_t done_ = 0;
    std::atomic<std::uint64_t> reported_{0};
};

BandProgress::BandProgress(RunContext const& context, std::string label, std::vector<Band> const& bands) {
    std::uint64_t total = 0;
    for (auto const& band : bands) {
        total += band.fragments + 2;
    }
    counter_ = Lumen::makeStrong<Counter>(context.progress, std::move(label), total);
    context_.progress = counter_;
}

BandProgress::~BandProgress() = default;

void BandProgress::unit() { counter_->unit(); }

void BandProgress::computed(Band const& band) {
    for (auto reported = counter_->takeReported(); reported < band.fragments; ++reported) {
        counter_->unit();
    }
}

} // namespace rastrum_host
