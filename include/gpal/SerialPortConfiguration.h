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
    /// What the console offers, with the text that stands for it.
    enum SerialPortMode : int {
        INTERACTIVE_LOGIN = 0,    ///< "interactive_login": login prompt
        INTERACTIVE_NO_LOGIN = 1, ///< "interactive_no_login": shell without login
        NON_INTERACTIVE = 2       ///< "non_interactive": no console
    };

    /// Whether \p text is exactly one of the three texts.
    static bool isValidSerialPortMode(const std::string& text);

    /// The mode of a text. Every other text, invalid ones included, gives the shell without login:
    /// somebody must be able to get in; validate first.
    static SerialPortMode stringToSerialPortMode(const std::string& text);

    /// The text of a mode; "interactive_no_login" for any value that is none.
    static std::string serialPortModeToString(SerialPortMode mode);

    /// Rewrites the console lines of "/etc/inittab" (through "/etc/inittab.new"), lets init reread
    /// it, and ends the shells, getty and login that are no longer wanted. Each rewrite adds one
    /// empty line at the end of the table.
    ///
    /// A table that cannot be read to its end is not replaced: "/etc/inittab.new" is removed again.
    /// A table that cannot be renamed leaves "/etc/inittab.new" behind, and so does a caller that
    /// is cancelled, or that runs out of memory, in the middle of it; the next call writes it anew.
    /// The first two are reported on standard error, and the commands run all the same. That the
    /// new table cannot be written is not noticed: on a full disk one that was cut short replaces
    /// the old one, so see that there is room.
    ///
    /// "/etc/inittab" must be there: without it the call never ends, unless by cancellation. Must
    /// not run twice at the same time. A cancellation point, in its commands too.
    static void setSerialPortMode(SerialPortMode mode);
};

#endif
