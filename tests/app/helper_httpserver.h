#pragma once

#include <QByteArray>
#include <QHostAddress>
#include <QList>
#include <QMap>
#include <QTcpServer>
#include <QTcpSocket>
#include <QUrl>

// A small HTTP/1.1 server on 127.0.0.1 for the tests: records every request it is sent and answers
// each with the status and body set beforehand, or not at all (to test time-outs).
class TestHttpServer : public QObject
{
public:
    struct Request
    {
        QByteArray method;
        QByteArray path;
        QMap<QByteArray, QByteArray> headers; // names in lower case
        QByteArray body;
    };

    int status = 200;
    QByteArray contentType = "application/json";
    QByteArray responseBody;
    bool answers = true;
    QList<Request> requests;

    TestHttpServer()
    {
        server_.listen(QHostAddress::LocalHost, 0);
        connect(&server_, &QTcpServer::newConnection, this, [this] {
            while (QTcpSocket* socket = server_.nextPendingConnection()) {
                connect(socket, &QTcpSocket::readyRead, this, [this, socket] { read(socket); });
                connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
            }
        });
    }

    QUrl url(const QString& path) const
    {
        return QUrl(QStringLiteral("http://127.0.0.1:%1%2").arg(server_.serverPort()).arg(path));
    }

private:
    void read(QTcpSocket* socket)
    {
        QByteArray& buffer = buffers_[socket];
        buffer += socket->readAll();
        const qsizetype end = buffer.indexOf("\r\n\r\n");
        if (end < 0)
            return;
        Request request;
        const QList<QByteArray> lines = buffer.left(end).split('\n');
        const QList<QByteArray> first = lines.first().trimmed().split(' ');
        request.method = first.value(0);
        request.path = first.value(1);
        for (qsizetype i = 1; i < lines.size(); ++i) {
            const qsizetype colon = lines.at(i).indexOf(':');
            if (colon > 0)
                request.headers.insert(lines.at(i).left(colon).trimmed().toLower(),
                                       lines.at(i).mid(colon + 1).trimmed());
        }
        const qsizetype length = request.headers.value("content-length", "0").toLongLong();
        if (buffer.size() < end + 4 + length)
            return;
        request.body = buffer.mid(end + 4, length);
        buffers_.remove(socket);
        requests.append(request);
        if (!answers)
            return;
        QByteArray reply = "HTTP/1.1 " + QByteArray::number(status) + " X\r\nContent-Type: " + contentType +
                           "\r\nContent-Length: " + QByteArray::number(responseBody.size()) +
                           "\r\nConnection: close\r\n\r\n" + responseBody;
        socket->write(reply);
        socket->disconnectFromHost();
    }

    QTcpServer server_;
    QMap<QTcpSocket*, QByteArray> buffers_;
};
