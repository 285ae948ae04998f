#include "commands/run_files.hpp"

#include "core/errors.hpp"

namespace rastrum_host {
namespace fs = std::filesystem;

bool sameFile(fs::path const& a, fs::path const& b) {
    std::error_code error, errorA, errorB;
    if (fs::equivalent(a, b, error)) {
        return true;
    }
    auto const resolvedA = fs::weakly_canonical(a, errorA), resolvedB = fs::weakly_canonical(b, errorB);
    return !errorA && !errorB && resolvedA == resolvedB; // two unresolvable names are not known to be one file
}

void refuseOutputOverInput(std::vector<std::string> const& outputs, std::vector<std::string> const& inputs) {
    for (auto const& output : outputs) {
        for (auto const& input : inputs) {
            if (!output.empty() && !input.empty() && sameFile(output, input)) {
                throw InputError(output + ": is the input " + input +
                                 " of this run; write the result to another file");
            }
        }
    }
}

} // namespace rastrum_host
