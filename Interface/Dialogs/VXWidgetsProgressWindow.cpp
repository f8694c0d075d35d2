#include "VXWidgetsProgressWindow.h"

#include "VXInputBlock.h"
#include "VXProgressDialog.h"

VXWidgetsProgressWindow::VXWidgetsProgressWindow(QWidget *parent, int delay) : _parent(parent), _delay(delay)
{
    _wait.setSingleShot(true);
    _wait.callOnTimeout([this] { open(); });
}

VXWidgetsProgressWindow::~VXWidgetsProgressWindow()
{
    delete _dialog;
}

void VXWidgetsProgressWindow::show()
{
    _since.start();
    _block = std::make_unique<VXInputBlock>();
    _wait.start(_delay);
}

void VXWidgetsProgressWindow::open()
{
    _dialog = new VXProgressDialog(_parent);
    _dialog->setStopHandler([this] { userDidCancel(); });
    update();
    _block.reset();
    _dialog->show();
}

void VXWidgetsProgressWindow::update()
{
    if (_dialog)
        _dialog->showProgress(*this, _since.elapsed());
}

void VXWidgetsProgressWindow::close(Result)
{
    _wait.stop();
    _block.reset();
    delete _dialog;
}
