#ifndef TAVIX_FOUNDATION_EXPORT_H
#define TAVIX_FOUNDATION_EXPORT_H

/* Marks what libtavix shows to its users; everything else stays hidden. Usable from C. */
#define TAVIX_API __attribute__((visibility("default")))

/* Hides a class inside a class that is shown. */
#define TAVIX_HIDDEN __attribute__((visibility("hidden")))

#endif
