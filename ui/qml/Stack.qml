import QtQuick

// A column whose height is known before it is shown: a positioner measures itself only then, and a window's size must stand earlier.
Column {
    id: stack

    readonly property real fitted: {
        let sum = 0
        let shown = 0
        for (let index = 0; index < children.length; ++index) {
            if (children[index].visible) {
                sum += children[index].height
                ++shown
            }
        }
        return Math.ceil(sum + Math.max(0, shown - 1) * spacing)
    }

    height: fitted
}
