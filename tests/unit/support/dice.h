// Random choices that are the same in every run.
#pragma once

#include <cstddef>
#include <random>

class Dice {
public:
    explicit Dice(unsigned seed) : engine_(seed) {
    }

    // A number from 0 to `max`, both included.
    std::size_t upTo(std::size_t max) {
        return engine_() % (max + 1);
    }

    // One of the elements of `choices`.
    template <class Choices>
    auto oneOf(const Choices& choices) {
        return *(std::begin(choices) + static_cast<std::ptrdiff_t>(upTo(std::size(choices) - 1)));
    }

private:
    std::mt19937 engine_;
};
