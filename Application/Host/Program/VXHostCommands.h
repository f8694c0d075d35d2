#pragma once

#include "VXHostCommand.h"

/** The commands, each from a source file of its own. */
[[nodiscard]] VXHostCommand VXInfoCommand();
[[nodiscard]] VXHostCommand VXDefaultsCommand();
[[nodiscard]] VXHostCommand VXLogCommand();
[[nodiscard]] VXHostCommand VXStatusCommand();
[[nodiscard]] VXHostCommand VXPropertyListCommand();
[[nodiscard]] VXHostCommand VXPhonebookCommand();
[[nodiscard]] VXHostCommand VXStoreCommand();
[[nodiscard]] VXHostCommand VXPluginsCommand();
[[nodiscard]] VXHostCommand VXDevicesCommand();
[[nodiscard]] VXHostCommand VXNewPluginCommand();
[[nodiscard]] VXHostCommand VXTriggersCommand();
[[nodiscard]] VXHostCommand VXEventsCommand();
[[nodiscard]] VXHostCommand VXPostCommand();
[[nodiscard]] VXHostCommand VXHistoryCommand();
[[nodiscard]] VXHostCommand VXReactorsCommand();
[[nodiscard]] VXHostCommand VXExportersCommand();
[[nodiscard]] VXHostCommand VXExportCommand();
[[nodiscard]] VXHostCommand VXSyncCommand();
[[nodiscard]] VXHostCommand VXMessagesCommand();
[[nodiscard]] VXHostCommand VXCallsCommand();
[[nodiscard]] VXHostCommand VXImportCallsCommand();
[[nodiscard]] VXHostCommand VXPostFormCommand();
[[nodiscard]] VXHostCommand VXOutboxCommand();
[[nodiscard]] VXHostCommand VXSearchCommand();
[[nodiscard]] VXHostCommand VXOpenCommand();
[[nodiscard]] VXHostCommand VXHotKeysCommand();
[[nodiscard]] VXHostCommand VXScriptingCommand();
[[nodiscard]] VXHostCommand VXRunCommand();
[[nodiscard]] VXHostCommand VXEvalCommand();
[[nodiscard]] VXHostCommand VXHelpCommand();

/** Hidden: started by the session bus. */
[[nodiscard]] VXHostCommand VXSearchServiceCommand();
/** Hidden: they write the completion script and the man page for installation. */
[[nodiscard]] VXHostCommand VXCompletionCommand();
[[nodiscard]] VXHostCommand VXManPageCommand();
