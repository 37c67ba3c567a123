/* What libtessarin exports.
 *
 * The library is built with every symbol hidden by default; the public
 * classes and functions carry TESSARIN_EXPORT, so that the shared library's
 * dynamic symbol table holds Tessarin's interface and nothing of what it
 * is built from (the JSON library's template instantiations, the standard
 * library's, the internal classes). Plain C, so that the C interface can use
 * it too. */
#ifndef TESSARIN_EXPORT_H_
#define TESSARIN_EXPORT_H_

#if defined(__GNUC__) || defined(__clang__)
#define TESSARIN_EXPORT __attribute__((visibility("default")))
#else
#define TESSARIN_EXPORT
#endif

#endif /* TESSARIN_EXPORT_H_ */
