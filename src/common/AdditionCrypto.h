#pragma once

#include <QByteArray>
#include <QString>

// AES with a 128-bit key in ECB mode with PKCS#7 padding: the form in which passwords are stored.
// The operations' names promise more bits than the stored form has. Only the first 16 bytes of the
// key count, a shorter key is filled with zeros. Null on a cipher failure.
QByteArray AES256EncryptWithKey(const QByteArray &data, const QString &key);
QByteArray AES256DecryptWithKey(const QByteArray &data, const QString &key);
// With the key built into the program.
QByteArray AES256EncryptWithKeyVelmora(const QByteArray &data);
QByteArray AES256DecryptWithKeyVelmora(const QByteArray &data);
