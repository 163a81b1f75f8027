#pragma once
// A drag source for end-to-end tests: a window of the test's own X
// connection that offers one type through XDND and answers the transfer.
#include <X11/Xlib.h>

#include <string>
#include <vector>

class DragSource {
public:
    DragSource(Display* d, Window target, const char* offeredType, std::string body)
        : display(d), target(target), body(std::move(body)) {
        window = XCreateSimpleWindow(d, DefaultRootWindow(d), 0, 0, 10, 10, 0, 0, 0);
        offered = XInternAtom(d, offeredType, False);
        XSetSelectionOwner(d, XInternAtom(d, "XdndSelection", False), window, CurrentTime);
        XSync(d, False);
    }
    ~DragSource() { XDestroyWindow(display, window); }

    void send(const char* type, long l1, long l2, long l3, long l4) {
        XEvent ev{};
        ev.xclient.type = ClientMessage;
        ev.xclient.window = target;
        ev.xclient.message_type = XInternAtom(display, type, False);
        ev.xclient.format = 32;
        ev.xclient.data.l[0] = static_cast<long>(window);
        ev.xclient.data.l[1] = l1;
        ev.xclient.data.l[2] = l2;
        ev.xclient.data.l[3] = l3;
        ev.xclient.data.l[4] = l4;
        XSendEvent(display, target, False, NoEventMask, &ev);
        XFlush(display);
    }
    void enter() { send("XdndEnter", 5L << 24, static_cast<long>(offered), 0, 0); }
    void position(int rootX, int rootY) {
        send("XdndPosition", 0, (rootX << 16) | rootY, CurrentTime,
             static_cast<long>(XInternAtom(display, "XdndActionCopy", False)));
    }
    void drop() { send("XdndDrop", 0, CurrentTime, 0, 0); }

    // Answers selection requests and collects our window's replies; true when
    // a reply of `type` is there.
    bool poll(const char* type, XClientMessageEvent& reply) {
        while (XPending(display)) {
            XEvent ev;
            XNextEvent(display, &ev);
            if (ev.type == SelectionRequest) answer(ev.xselectionrequest);
            if (ev.type == ClientMessage) replies.push_back(ev.xclient);
        }
        Atom wanted = XInternAtom(display, type, False);
        for (auto it = replies.begin(); it != replies.end(); ++it)
            if (it->message_type == wanted) {
                reply = *it;
                replies.erase(it);
                return true;
            }
        return false;
    }

    Window window = 0;

private:
    void answer(const XSelectionRequestEvent& req) {
        XEvent ev{};
        ev.xselection.type = SelectionNotify;
        ev.xselection.requestor = req.requestor;
        ev.xselection.selection = req.selection;
        ev.xselection.target = req.target;
        ev.xselection.time = req.time;
        ev.xselection.property = None;
        if (req.target == offered) {
            XChangeProperty(display, req.requestor, req.property, offered, 8, PropModeReplace,
                            reinterpret_cast<const unsigned char*>(body.data()), static_cast<int>(body.size()));
            ev.xselection.property = req.property;
        }
        XSendEvent(display, req.requestor, False, NoEventMask, &ev);
        XFlush(display);
    }

    Display* display;
    Window target;
    Atom offered = None;
    std::string body;
    std::vector<XClientMessageEvent> replies;
};
