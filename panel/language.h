#ifndef LANGUAGE_H
#define LANGUAGE_H

class QLocale;

/** In which language the panel speaks. */
namespace Language {

/**
 * From now on texts, numbers and times are those of this locale. Texts of a language that there are
 * none for are English. An application object exists; windows that exist stay as they are.
 */
void Use(const QLocale &locale);

} // namespace Language

#endif
