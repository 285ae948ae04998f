#pragma once
#include <stdexcept>
#include <string>
namespace rastrum_host {
// A problem with the user's input or output: the message names the file or option and the problem.
class InputError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};
}
