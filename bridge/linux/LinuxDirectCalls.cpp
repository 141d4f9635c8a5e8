// The direct call channel on WebKitGTK: a script message handler with replies on the view's user content
// manager.
#include <webkit/webkit.h>

#include <memory>

#include "bridge/DirectCalls.h"

namespace {

constexpr const char* kHandlerName = "qvnCall";

struct Channel {
    WebKitUserContentManager* manager = nullptr;
    gulong handler = 0;
    DirectCallAnswer answer;
};

std::string StringAt(JSCValue* array, unsigned index) {
    JSCValue* item = jsc_value_object_get_property_at_index(array, index);
    std::string text;
    if (item && jsc_value_is_string(item)) {
        gchar* s = jsc_value_to_string(item);
        text = s ? s : "";
        g_free(s);
    }
    if (item) g_object_unref(item);
    return text;
}

// The message is [name, JSON array of the arguments]; anything else is refused with a sentence.
gboolean OnMessage(WebKitUserContentManager*, JSCValue* message, WebKitScriptMessageReply* reply, gpointer data) {
    auto* channel = static_cast<Channel*>(data);
    if (!jsc_value_is_array(message)) {
        webkit_script_message_reply_return_error_message(reply, "qvnCall: needs [name, arguments]");
        return TRUE;
    }
    const std::string name = StringAt(message, 0);
    std::string args = StringAt(message, 1);
    if (args.empty()) args = "[]";
    std::string result;
    const int status = channel->answer(name, args, result);
    if (status == 0) {
        JSCValue* value = jsc_value_new_string(jsc_value_get_context(message), result.c_str());
        webkit_script_message_reply_return_value(reply, value);
        g_object_unref(value);
    } else if (status == 1) {
        webkit_script_message_reply_return_error_message(reply, result.c_str());
    } else {
        webkit_script_message_reply_return_error_message(reply, ("qvnCall: " + name + " isn't answered here").c_str());
    }
    return TRUE;
}

}  // namespace

void* OpenDirectCalls(void* browser, DirectCallAnswer answer) {
    if (!browser || !WEBKIT_IS_WEB_VIEW(browser)) return nullptr;
    auto channel = std::make_unique<Channel>();
    channel->manager = webkit_web_view_get_user_content_manager(WEBKIT_WEB_VIEW(browser));
    if (!channel->manager || !webkit_user_content_manager_register_script_message_handler_with_reply(
                                 channel->manager, kHandlerName, nullptr)) {
        return nullptr;
    }
    g_object_ref(channel->manager);
    channel->answer = std::move(answer);
    channel->handler = g_signal_connect(channel->manager, "script-message-with-reply-received::qvnCall",
                                        G_CALLBACK(OnMessage), channel.get());
    return channel.release();
}

void CloseDirectCalls(void* opened) {
    if (!opened) return;
    std::unique_ptr<Channel> channel(static_cast<Channel*>(opened));
    g_signal_handler_disconnect(channel->manager, channel->handler);
    webkit_user_content_manager_unregister_script_message_handler(channel->manager, kHandlerName, nullptr);
    g_object_unref(channel->manager);
}
