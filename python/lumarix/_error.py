"""The one exception of the package."""


class ImageError(Exception):
    """A call of the image stream library failed: `status` is its status code, `text` the
    library's fixed text of that code."""

    def __init__(self, status, message, text=None):
        if text is None:
            from lumarix._im import status_text
            text = status_text(status)
        super().__init__(f"{message}: {text} (status {status})")
        self.status = status
        self.text = text
