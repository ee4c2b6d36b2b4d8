#ifndef THEME_H
#define THEME_H

/** How the application looks: the same everywhere, light or dark. */
namespace Theme {

/** Changes all windows at once; an application object exists. */
void Use(bool dark);

} // namespace Theme

#endif
