/// \file
/// What the device's serial console offers.
#ifndef GPAL_SERIALPORTCONFIGURATION_H
#define GPAL_SERIALPORTCONFIGURATION_H

#include <string>

#include <gpal/export.h>

/// Switches the serial console between a login prompt, a plain shell and nothing at all.
class GPAL_API SerialPortConfiguration
{
public:
    enum SerialPortMode : int {
        INTERACTIVE_LOGIN = 0,    ///< "interactive_login": login prompt
        INTERACTIVE_NO_LOGIN = 1, ///< "interactive_no_login": shell without login
        NON_INTERACTIVE = 2       ///< "non_interactive": no console
    };

    /// Whether \p text is exactly one of the three texts.
    static bool isValidSerialPortMode(const std::string& text);

    /// The mode of a text. Every other text, invalid ones included, gives the shell without login:
    /// maintainers must be able to get in; validate first.
    static SerialPortMode stringToSerialPortMode(const std::string& text);

    /// The text of a mode; "interactive_no_login" for any value that is none.
    static std::string serialPortModeToString(SerialPortMode mode);

    /// Rewrites the console lines of "/etc/inittab" (through "/etc/inittab.new"), lets init reread
    /// it, and ends the shells, getty and login that are no longer wanted. Each rewrite adds one
    /// empty line at the end of the table. Reports nothing but a failed rename, on standard error.
    ///
    /// "/etc/inittab" must be there: without it the call never ends. Must not run twice at the same
    /// time. A cancellation point.
    static void setSerialPortMode(SerialPortMode mode);
};

#endif
