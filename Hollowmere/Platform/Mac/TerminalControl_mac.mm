// SPDX-License-Identifier: MIT
// AppleScript, libproc, running applications and the accessibility tree. Every call here is one
// Apple API; the order and the rules are in ClaudeIntegration/TerminalFocusMac.
#include "Platform/Mac/CFRef.h"
#include "Platform/TerminalControl.h"

#import <AppKit/AppKit.h>
#include <ApplicationServices/ApplicationServices.h>
#include <cstdlib>
#include <libproc.h>
#include <sys/proc_info.h>
#include <sys/stat.h>

#include <QCoreApplication>
#include <QTimer>

namespace {

class AXElement final : public TerminalRules::AccessibleElement {
public:
    explicit AXElement(CFRef<AXUIElementRef> element) : m_element(std::move(element)) {}

    QString role() const override { return stringAttribute(kAXRoleAttribute); }
    QString title() const override { return stringAttribute(kAXTitleAttribute); }
    void press() override { AXUIElementPerformAction(m_element.get(), kAXPressAction); }

    std::vector<std::unique_ptr<TerminalRules::AccessibleElement>> children() const override {
        std::vector<std::unique_ptr<TerminalRules::AccessibleElement>> out;
        CFTypeRef value = nullptr;
        if (AXUIElementCopyAttributeValue(m_element.get(), kAXChildrenAttribute, &value) !=
                kAXErrorSuccess ||
            !value)
            return out;
        CFRef<CFTypeRef> owned(value);
        if (CFGetTypeID(value) != CFArrayGetTypeID())
            return out;
        const auto array = static_cast<CFArrayRef>(value);
        for (CFIndex i = 0; i < CFArrayGetCount(array); ++i) {
            auto child = static_cast<AXUIElementRef>(CFArrayGetValueAtIndex(array, i));
            CFRetain(child);
            out.push_back(std::make_unique<AXElement>(CFRef<AXUIElementRef>(child)));
        }
        return out;
    }

private:
    QString stringAttribute(CFStringRef attribute) const {
        CFTypeRef value = nullptr;
        if (AXUIElementCopyAttributeValue(m_element.get(), attribute, &value) != kAXErrorSuccess ||
            !value)
            return {};
        CFRef<CFTypeRef> owned(value);
        if (CFGetTypeID(value) != CFStringGetTypeID())
            return {};
        return QString::fromCFString(static_cast<CFStringRef>(value));
    }

    CFRef<AXUIElementRef> m_element;
};

class MacSystemTerminalControl final : public MacTerminalControl {
public:
    void runAppleScript(const QString& source) override {
        @autoreleasepool {
            NSAppleScript* script = [[NSAppleScript alloc] initWithSource:source.toNSString()];
            NSDictionary* error = nil;
            [script executeAndReturnError:&error];
        }
    }

    BsdInfo bsdInfo(int32_t pid) override {
        struct proc_bsdinfo info {};
        const int bytes = proc_pidinfo(pid, PROC_PIDTBSDINFO, 0, &info, sizeof info);
        // e_tdev is NODEV (all bits set) without a controlling terminal: negative as dev_t.
        return {bytes, int64_t(int32_t(info.e_tdev))};
    }

    QString deviceName(int64_t device) override {
        const char* name = devname(dev_t(device), S_IFCHR);
        return name ? QString::fromUtf8(name) : QString();
    }

    std::optional<int32_t> applicationWithPid(int32_t pid) override {
        @autoreleasepool {
            NSRunningApplication* app =
                [NSRunningApplication runningApplicationWithProcessIdentifier:pid];
            if (!app)
                return std::nullopt;
            return int32_t(app.processIdentifier);
        }
    }

    std::optional<int32_t> applicationWithBundleId(const QString& bundleId) override {
        @autoreleasepool {
            NSArray<NSRunningApplication*>* apps = [NSRunningApplication
                runningApplicationsWithBundleIdentifier:bundleId.toNSString()];
            if (apps.count == 0)
                return std::nullopt;
            return int32_t(apps.firstObject.processIdentifier);
        }
    }

    void activateAllWindows(int32_t applicationPid) override {
        @autoreleasepool {
            [[NSRunningApplication runningApplicationWithProcessIdentifier:applicationPid]
                activateWithOptions:NSApplicationActivateAllWindows];
        }
    }

    std::unique_ptr<TerminalRules::AccessibleElement>
    accessibilityElement(int32_t applicationPid) override {
        AXUIElementRef element = AXUIElementCreateApplication(applicationPid);
        if (!element)
            return nullptr;
        return std::make_unique<AXElement>(CFRef<AXUIElementRef>(element));
    }

    void beep() override { NSBeep(); }

    void after(int msecs, std::function<void()> step) override {
        QTimer::singleShot(msecs, QCoreApplication::instance(), std::move(step));
    }
};

} // namespace

MacTerminalControl& MacTerminalControl::system() {
    static MacSystemTerminalControl control;
    return control;
}
