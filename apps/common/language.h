#pragma once

/// The language of a program's messages.
namespace Language {

/// Translates messages from now on into the language that the environment asks for (LANGUAGE, LC_ALL, LC_MESSAGES,
/// LANG), whether or not the system has that locale; English if there is no translation. Call it once, when the
/// application exists and before the first message is made.
void install();

} // namespace Language
