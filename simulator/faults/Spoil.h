#pragma once

#include "Random.h"

#include <QtCore/QVariant>

/// Ways in which a reply can be spoilt, whatever it holds. Each answers whether it changed anything.
namespace Simulator::Spoil {

/// Every list loses its second half, the middle element included.
bool truncate(QVariant &reply);
/// Every list of two or more elements comes in another order.
bool shuffle(QVariant &reply, Random &random);
/// Every map loses the entry `key`; each a randomly chosen one when `key` is empty.
bool removeEntries(QVariant &reply, const QString &key, Random &random);
/// The same entries get a value of another type.
bool retypeEntries(QVariant &reply, const QString &key, Random &random);
/// Coefficient and configuration texts get characters that are no base64 in place of some of theirs.
bool dirtyTexts(QVariant &reply);

} // namespace Simulator::Spoil
