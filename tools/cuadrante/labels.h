// The texts a person reads, through the dictionary that --dict names.
//
// The library's translator answers "<N/A>" for a text that its dictionary
// holds no translation for once it has seen it, and writes the rows it
// collected back into the dictionary file. A person who asked for a
// translation is better served by the text itself than by "<N/A>", and by a
// dictionary that stays as it is unless they ask for the missing rows
// (--collect). Type labels and day names are taken untranslated before the
// dictionary is on, so the tool can fall back to them.
#pragma once

#include <string>

namespace cuadrante::tool {

// Turns translation on with the dictionary that the settings file `ini`
// names; with `collect`, the rows missing from it are added to the file when
// the command ends. Month and weekday names of the format settings are
// translated too. Raises EFOpenError or EConvertError for a missing file or
// one that names no dictionary.
void UseDictionary(const std::string& ini, bool collect);

// The translation of `text`, or `text` when there is none.
std::string Say(const std::string& text);
// The label of a point type (0 to 13), translated.
std::string TypeLabel(int type);
// The capitalised weekday name of a day of the week, Monday 1 to Sunday 7.
std::string DayLabel(int dayOfWeek);

}  // namespace cuadrante::tool
