#include "platform/ui/VDLoginWindowController.h"

void VDLoginWindowController::putOK() {
    modalCode = kOK;
    visible = false;
}

void VDLoginWindowController::putCancel() {
    modalCode = kCancel;
    visible = false;
}
