// A second way for a page to call the names bound on its window: the web engine's own message channel with
// replies (`window.webkit.messageHandlers.qvnCall.postMessage([name, argsJson])`, a promise of the result's
// JSON text). An answer there is one message each way; an answer through the webview library is a script of
// its own that the page has to compile and run, and the status polls (four a second) were most of what an
// idle window cost that way. The page uses it for its polls where it exists (ui/page/bridge.js, Q.queryText)
// and the Timeline Editor for the macro's document (ui/timeline.js, callDirect).
#pragma once

#include <functional>
#include <string>

// Answers one call: 0 with the result's JSON, 1 with a failure's sentence, -1 for a name that isn't bound
// for immediate answers.
using DirectCallAnswer = std::function<int(const std::string& name, const std::string& args, std::string& result)>;

// Opens the channel on a web engine view (a WebKitWebView); null when it can't be opened. Each answer runs
// on the UI thread.
void* OpenDirectCalls(void* browser, DirectCallAnswer answer);
// Closes it: no answer is asked of the caller afterwards. Null is ignored.
void CloseDirectCalls(void* channel);
