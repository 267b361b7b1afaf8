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

    // Zero columns stand for a width that is not known.
    void resize(int columns) const;

    // As the keys for it do: from now on the terminal takes nothing, and then takes it again.
    void stop() const;
    void goOn() const;

    // What has been written to it since the last time.
    std::string written() const;

private:
    int screen_ = -1;
    int program_ = -1;
};
