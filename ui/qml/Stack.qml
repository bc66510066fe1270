import QtQuick

// A column that knows its height before it is shown, where a window takes its size from it.
Column {
    height: Array.prototype.reduce.call(children, (sum, item) => sum + item.height, spacing * (children.length - 1))
}
