// Web view wrappers ("webv"): runtime objects through which a window shows a page. A wrapper picks one of two
// engines when it is made, puts the engine's view into the window, starts loads, runs script in the page and
// reports what happens there to one callback, as numbered events.
//
// Threads: everything belongs to the main thread, except xp_webview_respond and dropping references, which
// any thread may do; both hand their work to the main queue (xp/service/main_queue.h). Events are raised on
// the main thread. Results are 0 unless a function says otherwise; a null wrapper makes every function do
// nothing. C strings are UTF-8.

#ifndef XP_WEBVIEW_WEBVIEW_H
#define XP_WEBVIEW_WEBVIEW_H

#include "xp/object/object.h"

#include <stdint.h>

class xp_engine_platform;

enum xp_webview_event : uint32_t {
  // A request is about to be loaded. Dictionary: "url", "method", "data" (the body, when there is one and it
  // is UTF-8). A result above 0 cancels it; otherwise event 30 follows.
  XP_WEBVIEW_NAVIGATE = 10,
  // A "local:" resource is wanted. Dictionary: "url", "method", "data" (the body's bytes, when not empty);
  // the callee adds "response" (a data object, or anything that has a text) and "mimetype". A negative result
  // fails the load.
  XP_WEBVIEW_RESOURCE = 11,
  XP_WEBVIEW_STARTED = 20,    // a load has started; no argument
  XP_WEBVIEW_COMMITTED = 21,  // it was committed; no argument
  XP_WEBVIEW_FINISHED = 22,   // it has finished; no argument
  XP_WEBVIEW_FAILED = 23,     // it has failed; the argument is a load error (webview/load_error.h)
  XP_WEBVIEW_LAID_OUT = 24,   // legacy engine: content set by xp_webview_setcontent has been laid out
  XP_WEBVIEW_INFO = 30,       // a navigation was allowed; no argument
  // The page called native code. Dictionary: the page's request with its number under "id", or null when the
  // page sent something else. With a result of exactly 1 the callee has taken a reference of its own and
  // answers later by xp_webview_respond; otherwise the dictionary's "result" is the answer at once.
  XP_WEBVIEW_REQUEST = 40,
  XP_WEBVIEW_DROPPED = 41,  // files were dropped on the view
  XP_WEBVIEW_OFFERED = 42,  // files are dragged over the view; exactly 1 accepts them
};

enum : uint32_t {
  XP_WEBVIEW_DROP_FILES = 0x2,  // files from outside may be dropped on the view
  XP_WEBVIEW_DRAG_FILES = 0x4,  // files may be dragged out of the view
  XP_WEBVIEW_NO_MENU = 0x8,     // no context menu
};

// Receives the events. A dictionary argument is valid during the call.
using xp_webview_callback = int64_t (*)(xp_obj *wrapper, uint32_t event, xp_obj *argument, uint64_t context);

// "webv"
uint32_t xp_webview_type();

// --- Process-wide settings, made before the first wrapper ---

// Sets what makes the engines; it must outlive every wrapper. Without one no wrapper can be made.
void xp_webview_setplatform(xp_engine_platform *platform);

// The content security policy of pages in the modern engines made from now on; null or empty: none.
void xp_webview_setpolicy(const char *policy);

// 2 when the operating system's generation is 11 or later: the modern engine. 1 otherwise, also when it is
// unknown: the legacy engine.
// Deliberate: never 0, so a caller's test for an available web view passes and xp_webview_new reports the
// failure.
int32_t xp_webview_support();

// --- Life ---

// A wrapper whose engine shows its view, `height` by `width` points, in `window` (what that is, the platform
// says: webview/gtk/platform.h). `callback` must not be null. Null when no engine could be made.
xp_obj *xp_webview_new(void *window, int64_t height, int64_t width, xp_webview_callback callback,
                       uint64_t context);

// The type's release operation (callers use xp_release): with the last reference the view leaves its window
// and raises no more events. The last reference may go on any thread; the view ends on the main thread.
void xp_webview_release(xp_obj *wrapper);

// --- Settings ---

// Replaces the XP_WEBVIEW_ flag bits. -1 for a null wrapper.
int32_t xp_webview_setflags(xp_obj *wrapper, uint32_t flags);

// The colour behind the page, 0xRRGGBB; a negative one is stored and changes nothing on screen. -1 for a null
// wrapper.
int32_t xp_webview_setbackground(xp_obj *wrapper, int64_t colour);

// Puts a new, empty dictionary in the place of the cookie jar.
int32_t xp_webview_cookiejar(xp_obj *wrapper);

// --- The next load ---

// Sets a header field, or removes it when `value` is null. Both null: drops all of them. An empty name, or
// text that is not UTF-8, changes nothing.
int32_t xp_webview_setheader(xp_obj *wrapper, const char *name, const char *value);

// Sets the address from a string object; null, or what is no absolute URL, leaves none.
int32_t xp_webview_seturl(xp_obj *wrapper, xp_obj *url);

// Sets the body (null: none) and, unless it is null or empty, the header "Content-Type". Any body, an empty
// one included, makes the load a POST.
int32_t xp_webview_setbody(xp_obj *wrapper, const char *content_type, xp_obj *body);

// Loads the address with the header fields and the body, which stay for the next load. Nothing without an
// address.
// Deliberate: any certificate that the address's own host shows over https is accepted, that of no other
// host.
int32_t xp_webview_load(xp_obj *wrapper);

// --- The view ---

int32_t xp_webview_setsize(xp_obj *wrapper, int64_t height, int64_t width);

// The size last set, in points; 0 for a null wrapper.
int64_t xp_webview_getheight(xp_obj *wrapper);
int64_t xp_webview_getwidth(xp_obj *wrapper);

// Gives the view the keyboard focus.
int32_t xp_webview_focus(xp_obj *wrapper);

// --- The page ---

// Makes a global variable of the page that holds a copy of the value. -1 on the legacy engine.
int32_t xp_webview_attach(xp_obj *wrapper, const char *name, xp_obj *value);

// Replaces the page by a HTML text, under the address about:blank. The modern engine ignores `element`.
int32_t xp_webview_setcontent(xp_obj *wrapper, const char *element, const char *html);

// Runs a script in the page; its value and its errors are dropped.
int32_t xp_webview_callscript(xp_obj *wrapper, const char *script);

// Answers a request of event 40 with the dictionary's "result", an empty object when there is none. Any
// thread; the answer is run from the main queue. -1 without a modern view, without a number under "id", or
// when memory is exhausted.
int32_t xp_webview_respond(xp_obj *wrapper, xp_obj *request);

// For tools and tests: runs a script and hands its outcome over, both borrowed and one of them null. A value
// that is a text comes as it is, any other as JSON text, an undefined one as null; `error` is the engine's
// message. -1 when there is no view (`completion` is then not called).
using xp_webview_evaluated = void (*)(xp_obj *value, xp_obj *error, uint64_t context);
int32_t xp_webview_evaluate(xp_obj *wrapper, const char *script, xp_webview_evaluated completion,
                            uint64_t context);

// --- Text ---

// A new string of well-formed UTF-8: the text when it is, otherwise the text read as ISO Latin-1; a null text
// gives the empty string.
xp_obj *xp_wv_utf8(const char *text);

#endif
