// calls.h - every call that the duel makes, with random arguments in range and out of it.
#pragma once

#include <map>
#include <random>
#include <sstream>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

#include "model/duel.h"

namespace zeka::test {

using Rng = std::mt19937;

/// True in one of `in` cases.
inline bool Chance(Rng& rng, unsigned in) { return rng() % in == 0; }

struct CallKind {
    int weight;        // in random sequences
    bool in_callbacks; // whether it is also made inside callbacks
    std::function<Call(Rng&)> make;
};
/// All kinds by name, among them every line of setters.tsv.
const std::map<std::string, CallKind>& CallKinds();

/// Makes a call from its name and arguments, for random and written sequences alike.
#define CALL(name, ...)                                                                                      \
    ::zeka::test::Both(                                                                                      \
        #name, [](auto... a) { return ::name(a...); },                                                       \
        [](::zeka::test::Model& m, auto... a) { return m.name(a...); }, std::tuple{__VA_ARGS__})

template <typename F, typename Arguments> double ResultOf(F function, const Arguments& arguments)
{
    if constexpr (std::is_void_v<decltype(std::apply(function, arguments))>) {
        std::apply(function, arguments);
        return 0.0;
    } else {
        return static_cast<double>(std::apply(function, arguments));
    }
}

template <typename Library, typename ModelCall, typename... A>
Call Both(const char* name, Library library, ModelCall model, std::tuple<A...> arguments)
{
    std::ostringstream text;
    text.precision(17);
    std::apply(
        [&, first = true](auto... a) mutable { ((text << (first ? "" : ", ") << +a, first = false), ...); },
        arguments);
    return {std::string(name) + "(" + text.str() + ")", [=] { return ResultOf(library, arguments); },
            [=](Model& m) { return ResultOf([&](auto... a) { return model(m, a...); }, arguments); }};
}

Call Register(char kind, bool on);
/// `with_dc`: whether there are DC samples other than 0.
Call LoadRaw(double hz, std::size_t count, bool with_dc);
Call StartRecording(int length);
Call StopRecording();

// what the duel needs of the library
void RegisterWithLibrary(char kind, bool on);
/// The difference in the results of all getters and in the recording; empty when there is none.
std::string ValueDifference(const Model& model);

} // namespace zeka::test
