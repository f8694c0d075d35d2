#pragma once

#include "VXHotKeyService.h"
#include "VXScriptingTransport.h"
#include "VXServicesExport.h"

#include <chrono>
#include <memory>

/** Which of the desktop's services hot keys go through. */
enum class VXHotKeyServiceKind { Automatic, X11, Portal };

/**
 * The service of this session: on Wayland the GlobalShortcuts portal, else the X server's grabs. Where neither can be had, one
 * that refuses every registration and says why. Never null. Main thread only.
 */
[[nodiscard]] VX_SERVICES_EXPORT std::unique_ptr<VXHotKeyService>
VXMakeHotKeyService(VXHotKeyServiceKind kind = VXHotKeyServiceKind::Automatic);

/** What the user marked last, in whatever program; null, with the reason for people, when it cannot be had. Any thread. */
[[nodiscard]] VX_SERVICES_EXPORT QString VXReadSelectedText(QString *reason);

/** Carries events to other programs over the session bus. Never null: without a bus it reaches nobody, until there is one.
 *  `timeOut` is that of events which do not say theirs. Any thread. */
[[nodiscard]] VX_SERVICES_EXPORT std::unique_ptr<VXScriptingTransport>
VXMakeScriptingTransport(std::chrono::milliseconds timeOut = std::chrono::seconds(25));
