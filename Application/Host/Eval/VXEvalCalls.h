#pragma once

class VXEvalRegistry;

/** Registers the calls of the core services. */
void VXAddCoreCalls(VXEvalRegistry &registry);
void VXAddDeviceCalls(VXEvalRegistry &registry);
void VXAddPhonebookCalls(VXEvalRegistry &registry);
void VXAddPluginCalls(VXEvalRegistry &registry);
