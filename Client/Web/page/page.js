// The document: elements made, and touched only where they change.
function made(tag, className, parent) {
    const element = document.createElement(tag);
    if (className) element.className = className;
    parent?.append(element);
    return element;
}

// Touches the document only where it says something else.
function write(element, said) {
    if (element.firstChild?.data !== said) element.textContent = said;
}

function mark(element, name, value) {
    if (element.getAttribute(name) !== value) element.setAttribute(name, value);
}

function on(target, names, act) {
    for (const name of names.split(" ")) target.addEventListener(name, act);
}
