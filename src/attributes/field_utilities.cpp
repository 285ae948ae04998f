#include <string>
#include <vector>

#include "Lumen/Console.hpp"
#include "Rastrum.hpp"
#include "Velum/ExpandBBox.hpp"

namespace Rastrum {
namespace {

// Fields that describe the grid rather than carry values of their own.
bool isStructural(std::string const& name) { return name == "Positions" || name == "Alpha" || name == "CellType"; }

} // namespace

void addRangeAttribute(Velum::Representation& representation) {
    auto const alphaID = representation.findFieldID("Alpha");
    auto const alpha = alphaID ? representation.findField(*alphaID) : Velum::Field::NullPtrField();
    if (!alpha) {
        Lumen::Console() << "addRangeAttribute:: No Alpha field";
        return;
    }
    for (auto const& fragment : alpha->getFragmentIDs()) {
        if (!alpha->getCreator(fragment)) {
            continue;
        }
        representation.iterate([&fragment](Velum::FieldID const& id, Velum::Field const& field) {
            if (isStructural(id.Name())) {
                return true;
            }
            if (auto const creator = field.getCreator(fragment)) {
                Velum::ExpandBBox(creator->valueRange(), *creator, Velum::DataCreationMode::OnlyExisting);
            }
            return true;
        });
    }
}

bool testIfFieldNameExists(
    Lumen::StrongPtr<Velum::Representation, Velum::Ownable<Velum::Field>::Container> const& representation,
    std::string& name, std::vector<std::string>& matches, std::vector<std::string>& names) {
    if (!representation) {
        return false;
    }
    auto pass = [&](auto const& isMatch) {
        bool found = false;
        representation->iterate([&](Velum::FieldID const& id, Velum::Field const&) {
            names.push_back(id.Name());
            if (isMatch(id.Name())) {
                matches.push_back(id.Name());
                found = true;
            }
            return true;
        });
        return found;
    };
    if (pass([&name](std::string const& candidate) { return candidate == name; })) {
        return true;
    }
    names.clear();
    return pass([&name](std::string const& candidate) { return candidate.find(name) != std::string::npos; });
}

bool testIfFieldNameExists(
    Lumen::StrongPtr<Velum::Representation, Velum::Ownable<Velum::Field>::Container> const& representation,
    std::string& name, std::vector<std::string>& matches) {
    std::vector<std::string> names;
    return testIfFieldNameExists(representation, name, matches, names);
}

} // namespace Rastrum
