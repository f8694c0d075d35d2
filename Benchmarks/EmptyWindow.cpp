// A window with nothing in it, until it is painted: what a program with windows takes at least.

#include <QtCore/QTimer>
#include <QtWidgets/QApplication>
#include <QtWidgets/QMainWindow>

class EmptyWindow : public QMainWindow
{
protected:
    void paintEvent(QPaintEvent *event) override
    {
        QMainWindow::paintEvent(event);
        QTimer::singleShot(0, [] { QApplication::quit(); });
    }
};

int main(int argc, char **argv)
{
    const QApplication application(argc, argv);
    EmptyWindow window;
    window.resize(1080, 720);
    window.show();
    return QApplication::exec();
}
