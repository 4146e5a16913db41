// The page's own files: regular files below the bundle's resource folder, found by the address the page asks
// for. Nothing is cached: each request reads its file anew.
//
// Names are taken as they stand in the address, without percent-decoding. Only the folder named right behind
// the scheme counts; an address can name nothing outside the resource folder, and links inside it are not
// followed.
//
// Main thread only.

#ifndef SETUP_RESOURCES_H
#define SETUP_RESOURCES_H

#include "xp/object/object.h"

// Sets the path of the main bundle's resource folder; null or empty: there is no bundle, and nothing is
// found.
void cv_setup_setbundle(const char *path);

// The whole content of the resource at an address (a string object), as a new string:
// "scheme://folder/.../name.type". Without a type the resource is of type "html"; folders between the first
// one and the name are ignored. Null when the address names no regular file that can be read.
xp_obj *cv_setup_oslocalfile(xp_obj *url);

// The media type for an address, as a new string; null for a type of file that has none.
xp_obj *cv_setup_mediatype(xp_obj *url);

// Answers event 11: reads "url" from its dictionary and stores "response" (absent when there is no such
// resource) and "mimetype".
void cv_setup_answer_resource(xp_obj *event);

#endif
