// A terminal whose screen is a string.
#pragma once

#include <string>

class PseudoTerminal {
public:
    PseudoTerminal();
    PseudoTerminal(const PseudoTerminal&) = delete;
    PseudoTerminal& operator=(const PseudoTerminal&) = delete;
    ~PseudoTerminal();

    // The descriptor that a program would have.
    int descriptor() const {
        return program_;
    }

    // Zero columns mean that the width is unknown.
    void resize(int columns) const;

    // As the keys for it do: stops the terminal, which then takes no text, and starts it again.
    void stop() const;
    void goOn() const;

    // The text written to it since the last call.
    std::string written() const;

private:
    int screen_ = -1;
    int program_ = -1;
};
