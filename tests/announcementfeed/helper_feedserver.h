#pragma once

// A small HTTP/1.0 server on 127.0.0.1 for the feed tests, run on the test's own thread: the code
// under test fetches from the thread pool while the test waits with QTRY_, which keeps this
// server's event loop turning.

#include <QByteArray>
#include <QHash>
#include <QHostAddress>
#include <QList>
#include <QPointer>
#include <QTcpServer>
#include <QTcpSocket>
#include <QUrl>

namespace iconfoundry::test {

class FeedServer : public QObject
{
public:
    struct Reply
    {
        int status = 200;
        QByteArray body;
        QByteArray location;    // for redirects
        bool withLength = true; // false: the body ends when the connection closes
        bool never = false;     // accept the request and never answer
        QByteArray contentType = "application/json";
    };

    FeedServer()
    {
        connect(&server_, &QTcpServer::newConnection, this, [this] {
            while (QTcpSocket* socket = server_.nextPendingConnection())
                serve(socket);
        });
        server_.listen(QHostAddress::LocalHost, 0);
    }

    void route(const QByteArray& path, const Reply& reply) { routes_.insert(path, reply); }
    QUrl url(const QString& path) const
    {
        return QUrl(QStringLiteral("http://127.0.0.1:%1%2").arg(server_.serverPort()).arg(path));
    }
    int requests(const QByteArray& path) const { return requestsByPath_.value(path); }

private:
    void serve(QTcpSocket* socket)
    {
        auto request = std::make_shared<QByteArray>();
        connect(socket, &QTcpSocket::readyRead, socket, [this, socket, request] {
            request->append(socket->readAll());
            if (!request->contains("\r\n\r\n"))
                return;
            const QByteArray path = request->split(' ').value(1);
            ++requestsByPath_[path];
            const Reply reply = routes_.value(path, Reply{404, "not here", {}});
            if (reply.never) {
                held_.append(socket);
                return;
            }
            QByteArray head = "HTTP/1.0 " + QByteArray::number(reply.status) + " Test\r\n";
            if (!reply.location.isEmpty())
                head += "Location: " + reply.location + "\r\n";
            if (reply.withLength)
                head += "Content-Length: " + QByteArray::number(reply.body.size()) + "\r\n";
            head += "Content-Type: " + reply.contentType + "\r\nConnection: close\r\n\r\n";
            socket->write(head + reply.body);
            socket->disconnectFromHost();
        });
        connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
    }

    QTcpServer server_;
    QHash<QByteArray, Reply> routes_;
    QList<QPointer<QTcpSocket>> held_;
    QHash<QByteArray, int> requestsByPath_;
};

} // namespace iconfoundry::test
